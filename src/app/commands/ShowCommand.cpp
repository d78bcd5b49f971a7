#include "app/commands/ShowCommand.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include "app/CommandRegistry.h"
#include "app/StoreSession.h"
#include "app/commands/AttributeJson.h"
#include "app/commands/ItemLookup.h"
#include "model/CommonDataMO.h"
#include "model/ExtraDataMO.h"
#include "model/Schema.h"
#include "model/SyncableObjectMO.h"

namespace {

QJsonObject describe(const ModelObject &object) {
    return QJsonObject{{QStringLiteral("entity"), object.entityName()},
                       {QStringLiteral("attributes"), AttributeJson::attributesOf(object)}};
}

void printObject(const QJsonObject &object, const QString &indent) {
    CommandOutput::printLine(indent + object.value(QStringLiteral("entity")).toString());
    const QJsonObject attributes = object.value(QStringLiteral("attributes")).toObject();
    for (auto it = attributes.begin(); it != attributes.end(); ++it) {
        const QJsonValue value = it.value();
        const QString text =
            value.isString() ? value.toString()
            : value.isArray()
                ? QString::fromUtf8(QJsonDocument(value.toArray()).toJson(QJsonDocument::Compact))
            : value.isObject()
                ? QString::fromUtf8(QJsonDocument(value.toObject()).toJson(QJsonDocument::Compact))
                : value.toVariant().toString();
        CommandOutput::printLine(QStringLiteral("%1  %2: %3").arg(indent, it.key(), text));
    }
}

int runShow(CommandContext &context) {
    const QString uid = context.arguments.required(0, "UID");
    StoreSession session;
    session.open();
    const CommonDataMO *item = ItemLookup::itemWithUID(uid);
    QJsonArray extras;
    for (const Schema::ExtraRelationship &view : Schema::extraRelationships()) {
        for (const ExtraDataMO *record : item->extrasForRelationship(view.name))
            extras.append(describe(*record));
    }
    QJsonObject shown = describe(*item);
    shown.insert(QStringLiteral("uid"), item->uid());
    shown.insert(QStringLiteral("calendar"), item->parentContainer()->uid());
    shown.insert(QStringLiteral("syncable"), describe(*item->objectInfo()));
    shown.insert(QStringLiteral("extras"), extras);
    session.close();
    if (context.json) {
        CommandOutput::printJson(shown);
        return 0;
    }
    CommandOutput::printLine(QStringLiteral("uid: %1").arg(uid));
    CommandOutput::printLine(
        QStringLiteral("calendar: %1").arg(shown.value(QStringLiteral("calendar")).toString()));
    printObject(shown, QString());
    printObject(shown.value(QStringLiteral("syncable")).toObject(), QString());
    for (const QJsonValue &extra : extras)
        printObject(extra.toObject(), QStringLiteral("  "));
    return 0;
}

}  // namespace

void registerShowCommand(CommandRegistry &registry) {
    registry.add({QStringLiteral("show"),
                  QStringLiteral("UID"),
                  QStringLiteral("show every stored attribute of an item and its extra records"),
                  {},
                  {},
                  true,
                  runShow});
}
