#include "caldav/HTMLText.h"

#include <QHash>
#include <QRegularExpression>
#include <QStringList>

namespace {

QString decodedEntities(const QString &text) {
    static const QHash<QString, QString> named = {
        {QStringLiteral("amp"), QStringLiteral("&")},
        {QStringLiteral("lt"), QStringLiteral("<")},
        {QStringLiteral("gt"), QStringLiteral(">")},
        {QStringLiteral("quot"), QStringLiteral("\"")},
        {QStringLiteral("apos"), QStringLiteral("'")},
        {QStringLiteral("nbsp"), QStringLiteral(" ")},
    };
    static const QRegularExpression entity(QStringLiteral("&(#[xX]?[0-9a-fA-F]+|[a-zA-Z]+);"));
    QString decoded;
    qsizetype last = 0;
    for (const QRegularExpressionMatch &match : entity.globalMatch(text)) {
        decoded += QStringView(text).mid(last, match.capturedStart() - last);
        const QString name = match.captured(1);
        QString replacement = match.captured();
        if (name.startsWith(QLatin1Char('#'))) {
            const bool hex =
                name.size() > 1 && (name[1] == QLatin1Char('x') || name[1] == QLatin1Char('X'));
            bool ok = false;
            const uint code = name.mid(hex ? 2 : 1).toUInt(&ok, hex ? 16 : 10);
            if (ok && code > 0 && code <= 0x10FFFF && (code < 0xD800 || code > 0xDFFF)) {
                const char32_t character = code;
                replacement = QString::fromUcs4(&character, 1);
            }
        } else if (named.contains(name.toLower())) {
            replacement = named.value(name.toLower());
        }
        decoded += replacement;
        last = match.capturedEnd();
    }
    return decoded + text.mid(last);
}

}  // namespace

namespace HTMLText {

QString plainText(const QString &html) {
    static const QRegularExpression hidden(
        QStringLiteral("<(script|style|head)\\b[^>]*>.*?</\\1\\s*>|<!--.*?-->"),
        QRegularExpression::CaseInsensitiveOption | QRegularExpression::DotMatchesEverythingOption);
    static const QRegularExpression title(
        QStringLiteral("<title\\b[^>]*>(.*?)</title\\s*>"),
        QRegularExpression::CaseInsensitiveOption | QRegularExpression::DotMatchesEverythingOption);
    static const QRegularExpression block(
        QStringLiteral(
            "<(/?(p|div|h[1-6]|br|li|tr|pre|hr|address|blockquote|table|ul|ol|body))\\b[^>]*>"),
        QRegularExpression::CaseInsensitiveOption);
    static const QRegularExpression tag(QStringLiteral("<[^>]*>"));
    static const QRegularExpression spaces(QStringLiteral("[ \\t\\r\\f\\v]+"));

    const QRegularExpressionMatch titleMatch = title.match(html);
    QString text = html;
    text.replace(hidden, QString());
    text.replace(block, QStringLiteral("\n"));
    text.replace(tag, QString());
    text = decodedEntities(text);
    QStringList lines;
    if (titleMatch.hasMatch())
        lines.append(
            decodedEntities(titleMatch.captured(1)).replace(spaces, QStringLiteral(" ")).trimmed());
    for (QString line : text.split(QLatin1Char('\n'))) {
        line = line.replace(spaces, QStringLiteral(" ")).trimmed();
        if (!line.isEmpty() && (lines.isEmpty() || line != lines.last()))
            lines.append(line);
    }
    lines.removeAll(QString());
    return lines.join(QLatin1Char('\n'));
}

}  // namespace HTMLText
