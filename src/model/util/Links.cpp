#include "model/util/Links.h"

#include <cmark-gfm-core-extensions.h>
#include <cmark-gfm.h>

#include <QRegularExpression>
#include <memory>
#include <mutex>

#include "model/util/TextShaping.h"

namespace {

// Every line becomes a paragraph of its own that begins with a plain word, so
// no block syntax (indented or fenced code, HTML blocks, link reference
// definitions) can swallow a link; backticks would open code spans and are
// blanked out. Only the link targets are read back, so the changes do not
// show.
QByteArray plainTextDocument(const QString &text) {
    static const QRegularExpression lineBreaks(QStringLiteral("\r\n|[\r\n\u2028\u2029]"));
    QByteArray document;
    document.reserve(text.size() + 64);
    for (const QString &line : text.split(lineBreaks)) {
        QString clean = line.trimmed();
        if (clean.isEmpty())
            continue;
        clean.replace(QLatin1Char('`'), QLatin1Char(' '));
        document += "x " + clean.toUtf8() + "\n\n";
    }
    return document;
}

struct ParserDeleter {
    void operator()(cmark_parser *parser) const { cmark_parser_free(parser); }
};
struct NodeDeleter {
    void operator()(cmark_node *node) const { cmark_node_free(node); }
};
struct IteratorDeleter {
    void operator()(cmark_iter *iterator) const { cmark_iter_free(iterator); }
};

// The link targets in `text`, in order, as the detector gives them.
QList<QByteArray> linkTargets(const QString &text) {
    static std::once_flag registered;
    std::call_once(registered, cmark_gfm_core_extensions_ensure_registered);
    const std::unique_ptr<cmark_parser, ParserDeleter> parser(cmark_parser_new(CMARK_OPT_DEFAULT));
    cmark_parser_attach_syntax_extension(parser.get(), cmark_find_syntax_extension("autolink"));
    const QByteArray document = plainTextDocument(text);
    cmark_parser_feed(parser.get(), document.constData(), size_t(document.size()));
    const std::unique_ptr<cmark_node, NodeDeleter> root(cmark_parser_finish(parser.get()));
    const std::unique_ptr<cmark_iter, IteratorDeleter> iterator(cmark_iter_new(root.get()));
    QList<QByteArray> targets;
    for (cmark_event_type event; (event = cmark_iter_next(iterator.get())) != CMARK_EVENT_DONE;) {
        cmark_node *node = cmark_iter_get_node(iterator.get());
        if (event == CMARK_EVENT_ENTER && cmark_node_get_type(node) == CMARK_NODE_LINK)
            targets.append(QByteArray(cmark_node_get_url(node)));
    }
    return targets;
}

bool isNumericHost(const QString &host) {
    static const QRegularExpression ipv4(QStringLiteral("^[0-9]+(\\.[0-9]+){3}$"));
    return host.contains(QLatin1Char(':')) || ipv4.match(host).hasMatch();
}

}  // namespace

bool isURL(const QString &text) {
    return detectedURL(text).has_value();
}

std::optional<QUrl> detectedURL(const QString &text) {
    for (const QByteArray &target : linkTargets(text)) {
        // Link syntax such as "[notes](agenda)" gives relative targets, which
        // are not links in plain text.
        const QUrl url(stringByAddingStandardPercentEscapes(QString::fromUtf8(target)),
                       QUrl::StrictMode);
        if (url.isValid() && !url.isRelative())
            return url;
    }
    return std::nullopt;
}

std::optional<QString> mailtoURIFromAddress(const std::optional<QString> &address) {
    if (!address)
        return std::nullopt;
    return QStringLiteral("mailto:") + stringByMailToEncoding(*address);
}

QString addressFromMailtoURI(const QString &uri) {
    static constexpr QLatin1String kScheme("mailto:");
    const bool hasScheme = uri.startsWith(kScheme, Qt::CaseInsensitive);
    return stringByRemovingMailToEncoding(hasScheme ? uri.mid(kScheme.size()) : uri);
}

QString domain(const QUrl &url) {
    const QString host = url.host();
    const QStringList labels = host.split(QLatin1Char('.'));
    if (labels.size() < 3 || isNumericHost(host))
        return host;
    return labels.mid(1).join(QLatin1Char('.'));
}
