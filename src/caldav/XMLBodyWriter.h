#pragma once

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>
#include <QVariantList>
#include <QXmlStreamWriter>
#include <utility>

// Writes the XML body of a WebDAV request. Elements are named by property
// keys and written as "prefix:local-name": every namespace the body uses is
// declared once, on the root element, "DAV:" as "d" and the others as "a",
// "b", "c", "e", "f", … in the order they were first named. The document
// starts with the declaration of version "1.0", encoding "utf-8"; empty
// elements are written in the short form.
class XMLBodyWriter {
public:
    // The prefixes for the namespaces of `keys`: "DAV:" first with "d" (always,
    // even when no key is in it), then each other namespace in order of first
    // appearance.
    static QList<std::pair<QString, QString>> namespacesForProperties(const QStringList &keys);
    // The keys of property dictionaries (see writePropertyDicts()) and their
    // children, for namespacesForProperties().
    static QStringList keysOfPropertyDicts(const QVariantList &propertyDicts);

    // Starts the document with its root element `rootKey`, declaring the
    // namespaces of `keys` (and the root's own).
    XMLBodyWriter(const QString &rootKey, QStringList keys);

    void startElement(const QString &key);
    void endElement();
    void emptyElement(const QString &key);
    void textElement(const QString &key, const QString &text);
    void attribute(const QString &name, const QString &value);
    void text(const QString &text);
    // Writes property dictionaries: "property" (the element's key), optional
    // "name" and "namespace" (attributes of those names), "attributes" (a
    // dictionary of further attributes), "value" (text) and "sub properties"
    // (a list of property dictionaries for the children).
    void writePropertyDicts(const QVariantList &propertyDicts);

    // The prefix given to a namespace ("d" for "DAV:").
    QString prefixForNamespace(const QString &ns) const { return m_prefixes.value(ns); }
    // Closes every open element and returns the document.
    QByteArray finish();

private:
    QString qualifiedName(const QString &key) const;

    QByteArray m_data;
    QXmlStreamWriter m_writer;
    QHash<QString, QString> m_prefixes;
};
