#include "model/foundation/Format.h"

#include <QLocale>
#include <cstdio>

QString describeValue(const QVariant &value) {
    if (!value.isValid() || value.isNull())
        return QStringLiteral("(null)");
    switch (value.typeId()) {
        case QMetaType::QString:
            return value.toString();
        case QMetaType::Bool:
            return value.toBool() ? QStringLiteral("1") : QStringLiteral("0");
        case QMetaType::Double:
        case QMetaType::Float:
            return QString::number(value.toDouble(), 'g', QLocale::FloatingPointShortest);
        case QMetaType::QByteArray:
            return QStringLiteral("<%1>").arg(QString::fromLatin1(value.toByteArray().toHex(' ')));
        case QMetaType::QStringList:
        case QMetaType::QVariantList: {
            QStringList parts;
            for (const QVariant &item : value.toList())
                parts << describeValue(item);
            return QStringLiteral("(") + parts.join(QStringLiteral(", ")) + QStringLiteral(")");
        }
        case QMetaType::QVariantMap: {
            QString text = QStringLiteral("{");
            const QVariantMap map = value.toMap();
            for (auto it = map.begin(); it != map.end(); ++it)
                text += it.key() + QStringLiteral(" = ") + describeValue(it.value()) +
                        QStringLiteral("; ");
            return text + QStringLiteral("}");
        }
        default:
            break;
    }
    if (value.canConvert<Date>() && value.metaType() == QMetaType::fromType<Date>())
        return value.value<Date>().description();
    return value.toString();
}

namespace {

struct Spec {
    std::string flags;
    int width = -1;
    int precision = -1;
    char conversion = 0;
};

qint64 toSigned(const QVariant &value) {
    if (value.metaType() == QMetaType::fromType<QChar>())
        return value.value<QChar>().unicode();
    if (value.typeId() == QMetaType::QString)
        return value.toString().trimmed().toLongLong();
    return value.toLongLong();
}

QString padded(QString text, const Spec &spec) {
    if (spec.precision >= 0 && text.size() > spec.precision)
        text.truncate(spec.precision);
    if (spec.width > text.size()) {
        const QString pad(spec.width - text.size(), QLatin1Char(' '));
        text = spec.flags.find('-') != std::string::npos ? text + pad : pad + text;
    }
    return text;
}

QString formatNumber(const Spec &spec, const QVariant &value) {
    std::string printfSpec = "%" + spec.flags;
    if (spec.width >= 0)
        printfSpec += std::to_string(spec.width);
    if (spec.precision >= 0)
        printfSpec += "." + std::to_string(spec.precision);
    char buffer[512];
    switch (spec.conversion) {
        case 'd':
        case 'i':
            printfSpec += "lld";
            std::snprintf(buffer, sizeof buffer, printfSpec.c_str(), (long long)toSigned(value));
            break;
        case 'u':
        case 'o':
        case 'x':
        case 'X':
            printfSpec += "ll";
            printfSpec += spec.conversion;
            std::snprintf(buffer, sizeof buffer, printfSpec.c_str(),
                          (unsigned long long)toSigned(value));
            break;
        default:  // f F e E g G a A
            printfSpec += spec.conversion;
            std::snprintf(buffer, sizeof buffer, printfSpec.c_str(),
                          value.typeId() == QMetaType::QString ? value.toString().toDouble()
                                                               : value.toDouble());
            break;
    }
    return QString::fromLatin1(buffer);
}

}  // namespace

QString formatString(const char *format, std::initializer_list<FormatArg> args) {
    QString out;
    if (!format)
        return out;
    auto next = args.begin();
    const auto takeArg = [&]() -> QVariant {
        return next == args.end() ? QVariant() : (next++)->value();
    };
    const char *p = format;
    const char *literal = p;
    const auto flushLiteral = [&](const char *end) {
        out += QString::fromUtf8(literal, end - literal);
    };
    while (*p) {
        if (*p != '%') {
            ++p;
            continue;
        }
        flushLiteral(p);
        const char *start = p++;
        Spec spec;
        while (*p && std::string_view("-+ #0'").find(*p) != std::string_view::npos)
            spec.flags += *p++;
        if (*p == '*') {
            spec.width = int(toSigned(takeArg()));
            ++p;
        } else if (*p >= '0' && *p <= '9') {
            spec.width = 0;
            while (*p >= '0' && *p <= '9')
                spec.width = spec.width * 10 + (*p++ - '0');
        }
        if (*p == '.') {
            ++p;
            spec.precision = 0;
            if (*p == '*') {
                spec.precision = int(toSigned(takeArg()));
                ++p;
            }
            while (*p >= '0' && *p <= '9')
                spec.precision = spec.precision * 10 + (*p++ - '0');
        }
        while (*p && std::string_view("hlqLzjt").find(*p) != std::string_view::npos)
            ++p;
        spec.conversion = *p ? *p++ : 0;
        switch (spec.conversion) {
            case '%':
                out += QLatin1Char('%');
                break;
            case '@':
            case 's':
            case 'S':
                out += padded(describeValue(takeArg()), spec);
                break;
            case 'c':
            case 'C': {
                const QVariant value = takeArg();
                const char32_t code = char32_t(toSigned(value));
                out += padded(value.typeId() == QMetaType::QString ? value.toString().left(1)
                                                                   : QString::fromUcs4(&code, 1),
                              spec);
                break;
            }
            case 'p':
                out += QStringLiteral("0x") + QString::number(toSigned(takeArg()), 16);
                break;
            case 'd':
            case 'i':
            case 'u':
            case 'o':
            case 'x':
            case 'X':
            case 'f':
            case 'F':
            case 'e':
            case 'E':
            case 'g':
            case 'G':
            case 'a':
            case 'A':
                out += formatNumber(spec, takeArg());
                break;
            default:  // not a conversion: keep the text as written
                out += QString::fromUtf8(start, p - start);
                break;
        }
        literal = p;
    }
    flushLiteral(p);
    return out;
}
