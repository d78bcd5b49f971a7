#pragma once

#include <QList>
#include <QString>
#include <QStringList>

#include "model/store/ManagedObjectModel.h"

// How an attribute's value is kept in its stored type, and so which typed
// accessor of ModelObject reads and writes it.
enum class ValueKind {
    // Plain values, read and written as they are stored.
    Boolean,
    Integer,
    Double,
    Date,
    String,
    // Encoded values (stored type in brackets).
    Opacity,           // [Double] only 0 < v < 1 is stored; missing reads as opaque
    Archived,          // [Binary] property list of an array or a dictionary
    StringTable,       // [String] dictionary in strings-file format
    CalendarDate,      // [String] "%.0f:%@" seconds and zone name
    CalendarDateList,  // [String] calendar dates joined with ","
    MaskedString,      // [Binary] masked UTF-8
    Color,             // [Integer] 0xRRGGBB
    Font,              // [Binary] archived FontDescription
    RichText,          // [Binary] archived RichText
    TagList,           // [Binary] archived list of distinct, sorted tags
};

// The object model of the store, version "4.5": every entity of the calendar
// data (syncable objects, data objects, extra records) and of the accounts
// (remote services, remote objects, notifications, publishing records), with
// the encoding of each attribute. Objects are made of the behaviour classes
// SyncableObjectMO, CommonDataMO, ExtraDataMO and, for the account entities,
// ModelObject.
class Schema {
public:
    static constexpr char kVersion[] = "4.5";

    // The process-wide model, built on first use (thread-safe).
    static const ManagedObjectModel &model();

    // The encoding of an attribute of the model.
    static ValueKind valueKind(const PropertyDescription &attribute);
    static AttributeType storedType(ValueKind kind);

    // A data object's extra records are held by one stored relationship,
    // `extras` (inverse `parentObject`); the relationships that the rest of
    // the program names (`attachments`, `reminders`, `attendees`,
    // `organizers`, `contacts`, `recurrences`) are views of it by entity.
    static constexpr char kExtrasKey[] = "extras";
    struct ExtraRelationship {
        QString name;
        QStringList entityNames;
    };
    static const QList<ExtraRelationship> &extraRelationships();
    // The view of that name, or nullptr.
    static const ExtraRelationship *extraRelationship(const QString &name);
    // The view that holds records of the entity; empty for other entities.
    static QString extraRelationshipForEntity(const QString &entityName);
};
