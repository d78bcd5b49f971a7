#include "time/Compression.h"

#include <zlib.h>
#include <QFile>
#include <QSaveFile>
#include <QtEndian>
#include <algorithm>
#include <limits>

#include "model/foundation/Log.h"

namespace {

constexpr int kLengthBytes = 4;
// A zlib stream cannot hold more than about 1032 bytes of data per byte.
constexpr quint64 kMaximumRatio = 1032;

}  // namespace

namespace Compression {

std::optional<QByteArray> compressedDataWithLevel(const QByteArray &data, int level,
                                                  int extraHeaderBytes) {
    level = level < -1 ? 0 : std::min(level, 9);
    extraHeaderBytes = std::max(extraHeaderBytes, 0);
    if (quint64(data.size()) > std::numeric_limits<quint32>::max()) {
        logError("Compression: %ld bytes are too many to compress", data.size());
        return std::nullopt;
    }
    uLongf streamLength = compressBound(uLong(data.size()));
    QByteArray result(extraHeaderBytes + kLengthBytes + qsizetype(streamLength), '\0');
    qToBigEndian(quint32(data.size()), result.data() + extraHeaderBytes);
    auto *stream = reinterpret_cast<Bytef *>(result.data() + extraHeaderBytes + kLengthBytes);
    const int status =
        compress2(stream, &streamLength, reinterpret_cast<const Bytef *>(data.constData()),
                  uLong(data.size()), level);
    if (status != Z_OK) {
        logError("Compression: zlib error %ld while compressing %ld bytes", status, data.size());
        return std::nullopt;
    }
    result.truncate(extraHeaderBytes + kLengthBytes + qsizetype(streamLength));
    return result;
}

std::optional<QByteArray> compressedData(const QByteArray &data) {
    return compressedDataWithLevel(data, -1, 0);
}

std::optional<QByteArray> compressedDataWithFile(const QString &path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        logError("Compression: cannot read %@: %@", path, file.errorString());
        return std::nullopt;
    }
    return compressedDataWithLevel(file.readAll(), 9, 0);
}

std::optional<QByteArray> uncompressedData(const QByteArray &data) {
    if (data.size() <= kLengthBytes) {
        logError("Compression: %ld bytes are too few for compressed data", data.size());
        return std::nullopt;
    }
    const quint32 length = qFromBigEndian<quint32>(data.constData());
    const auto streamSize = quint64(data.size() - kLengthBytes);
    if (length > streamSize * kMaximumRatio) {
        logError("Compression: a stream of %ld bytes cannot hold the %ld bytes it claims",
                 streamSize, length);
        return std::nullopt;
    }
    QByteArray result(qsizetype(length), '\0');
    uLongf resultLength = length;
    uLong sourceLength = uLong(streamSize);
    const int status = uncompress2(reinterpret_cast<Bytef *>(result.data()), &resultLength,
                                   reinterpret_cast<const Bytef *>(data.constData() + kLengthBytes),
                                   &sourceLength);
    if (status != Z_OK || resultLength != length) {
        logError("Compression: zlib error %ld while inflating %ld of %ld bytes", status,
                 resultLength, length);
        return std::nullopt;
    }
    return result;
}

bool writeUncompressedDataToFile(const QByteArray &data, const QString &path) {
    const std::optional<QByteArray> contents = uncompressedData(data);
    if (!contents)
        return false;
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(*contents) != contents->size() ||
        !file.commit()) {
        logError("Compression: cannot write %@: %@", path, file.errorString());
        return false;
    }
    return true;
}

bool compress(QByteArray &data) {
    std::optional<QByteArray> result = compressedData(data);
    if (result)
        data = std::move(*result);
    return result.has_value();
}

bool uncompress(QByteArray &data) {
    std::optional<QByteArray> result = uncompressedData(data);
    if (result)
        data = std::move(*result);
    return result.has_value();
}

}  // namespace Compression
