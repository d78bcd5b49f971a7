#include "model/foundation/PropertyList.h"

#include <plist/plist.h>

#include <QDateTime>
#include <cmath>
#include <cstdlib>
#include <memory>

#include "model/foundation/Date.h"

namespace PropertyList {
namespace {

struct PlistFree {
    void operator()(plist_t node) const { plist_free(node); }
};
using PlistPtr = std::unique_ptr<void, PlistFree>;

// Deeper nesting than this is refused rather than recursed into.
constexpr int kMaximumDepth = 512;

QVariant toVariant(plist_t node, int depth) {
    if (depth > kMaximumDepth)
        throw Error("property list is nested too deeply");
    switch (plist_get_node_type(node)) {
        case PLIST_BOOLEAN: {
            uint8_t value = 0;
            plist_get_bool_val(node, &value);
            return bool(value);
        }
        case PLIST_UINT: {
            uint64_t value = 0;
            plist_get_uint_val(node, &value);
            return qint64(value);
        }
        case PLIST_REAL: {
            double value = 0;
            plist_get_real_val(node, &value);
            return value;
        }
        case PLIST_STRING:
        case PLIST_KEY: {
            char *value = nullptr;
            if (plist_get_node_type(node) == PLIST_KEY)
                plist_get_key_val(node, &value);
            else
                plist_get_string_val(node, &value);
            const QString text = QString::fromUtf8(value ? value : "");
            std::free(value);
            return text;
        }
        case PLIST_DATA: {
            char *bytes = nullptr;
            uint64_t length = 0;
            plist_get_data_val(node, &bytes, &length);
            QByteArray data(bytes ? bytes : "", bytes ? qsizetype(length) : 0);
            std::free(bytes);
            return data;
        }
        case PLIST_DATE: {
            int32_t seconds = 0, microseconds = 0;
            plist_get_date_val(node, &seconds, &microseconds);
            return QVariant::fromValue(Date(double(seconds) + double(microseconds) / 1e6));
        }
        case PLIST_UID: {
            uint64_t value = 0;
            plist_get_uid_val(node, &value);
            return QVariant::fromValue(UID{value});
        }
        case PLIST_ARRAY: {
            QVariantList list;
            const uint32_t count = plist_array_get_size(node);
            list.reserve(count);
            for (uint32_t i = 0; i < count; ++i)
                list.append(toVariant(plist_array_get_item(node, i), depth + 1));
            return list;
        }
        case PLIST_DICT: {
            QVariantMap map;
            plist_dict_iter iter = nullptr;
            plist_dict_new_iter(node, &iter);
            for (;;) {
                char *key = nullptr;
                plist_t value = nullptr;
                plist_dict_next_item(node, iter, &key, &value);
                if (!value) {
                    std::free(key);
                    break;
                }
                const QString name = QString::fromUtf8(key ? key : "");
                std::free(key);
                map.insert(name, toVariant(value, depth + 1));
            }
            std::free(iter);
            return map;
        }
        default:
            throw Error("property list holds a value of unknown type");
    }
}

plist_t fromVariant(const QVariant &value, int depth) {
    if (depth > kMaximumDepth)
        throw Error("value is nested too deeply for a property list");
    const QMetaType type = value.metaType();
    if (type == QMetaType::fromType<Date>()) {
        // Whole seconds and microseconds, the microseconds never negative.
        const double seconds = value.value<Date>().secondsSinceReference();
        const double whole = std::floor(seconds);
        return plist_new_date(int32_t(whole), int32_t(std::llround((seconds - whole) * 1e6)));
    }
    if (type == QMetaType::fromType<UID>())
        return plist_new_uid(value.value<UID>().value);
    switch (value.typeId()) {
        case QMetaType::Bool:
            return plist_new_bool(value.toBool());
        case QMetaType::Int:
        case QMetaType::LongLong:
        case QMetaType::Long:
        case QMetaType::Short:
        case QMetaType::Char:
        case QMetaType::SChar:
            return plist_new_uint(uint64_t(value.toLongLong()));
        case QMetaType::UInt:
        case QMetaType::ULongLong:
        case QMetaType::ULong:
        case QMetaType::UShort:
        case QMetaType::UChar:
            return plist_new_uint(value.toULongLong());
        case QMetaType::Double:
        case QMetaType::Float:
            return plist_new_real(value.toDouble());
        case QMetaType::QString:
            return plist_new_string(value.toString().toUtf8().constData());
        case QMetaType::QByteArray: {
            const QByteArray data = value.toByteArray();
            return plist_new_data(data.constData(), uint64_t(data.size()));
        }
        case QMetaType::QDateTime:
            return fromVariant(QVariant::fromValue(Date::fromDateTime(value.toDateTime())), depth);
        case QMetaType::QStringList:
        case QMetaType::QVariantList: {
            PlistPtr array(plist_new_array());
            for (const QVariant &item : value.toList())
                plist_array_append_item(array.get(), fromVariant(item, depth + 1));
            return array.release();
        }
        case QMetaType::QVariantMap:
        case QMetaType::QVariantHash: {
            PlistPtr dict(plist_new_dict());
            const QVariantMap map = value.toMap();
            for (auto it = map.begin(); it != map.end(); ++it)
                plist_dict_set_item(dict.get(), it.key().toUtf8().constData(),
                                    fromVariant(it.value(), depth + 1));
            return dict.release();
        }
        default:
            throw Error(value.isValid() ? "a property list cannot hold a value of type " +
                                              std::string(type.name() ? type.name() : "?")
                                        : std::string("a property list cannot hold no value"));
    }
}

}  // namespace

QVariant fromData(const QByteArray &data) {
    if (data.isEmpty())
        throw Error("property list is empty");
    if (data.size() > qsizetype(UINT32_MAX))
        throw Error("property list is too large");
    plist_t root = nullptr;
    plist_from_memory(data.constData(), uint32_t(data.size()), &root);
    if (!root)
        throw Error(plist_is_binary(data.constData(), uint32_t(data.size()))
                        ? "binary property list is truncated or damaged"
                        : "XML property list is not well formed");
    PlistPtr owner(root);
    return toVariant(root, 0);
}

QVariant fromData(const QByteArray &data, QString *error) {
    try {
        return fromData(data);
    } catch (const Error &e) {
        if (error)
            *error = QString::fromUtf8(e.what());
        return QVariant();
    }
}

QByteArray toData(const QVariant &value, Format format) {
    PlistPtr root(fromVariant(value, 0));
    char *bytes = nullptr;
    uint32_t length = 0;
    if (format == Format::Xml) {
        plist_to_xml(root.get(), &bytes, &length);
        QByteArray data(bytes, qsizetype(length));
        plist_to_xml_free(bytes);
        return data;
    }
    plist_to_bin(root.get(), &bytes, &length);
    QByteArray data(bytes, qsizetype(length));
    plist_to_bin_free(bytes);
    return data;
}

}  // namespace PropertyList
