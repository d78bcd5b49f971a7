#pragma once

#include <QByteArray>
#include <QString>
#include <optional>

// Compressed blobs: `extraHeaderBytes` reserved bytes (left for the caller to
// fill), the uncompressed length as a 32-bit big-endian unsigned integer, then
// one zlib stream. Used for archived values, peer files and saved answers.
// Every failure is logged and gives no value; no input makes these crash.
namespace Compression {

// Compresses at `level` (at most 9; anything below -1 counts as 0, -1 is
// zlib's default) behind `extraHeaderBytes` zero bytes. None when the data
// is too long for the 32-bit length or zlib fails.
std::optional<QByteArray> compressedDataWithLevel(const QByteArray &data, int level,
                                                  int extraHeaderBytes);
// At the default level, without reserved bytes.
std::optional<QByteArray> compressedData(const QByteArray &data);
// The contents of the file at `path`, at level 9; none when it cannot be read.
std::optional<QByteArray> compressedDataWithFile(const QString &path);

// The data inside a blob without reserved bytes: needs more than 4 bytes,
// inflates into exactly the length of the header; none on any zlib error, on
// a stream that holds more or less than that length, or on a length that no
// stream of this size can hold.
std::optional<QByteArray> uncompressedData(const QByteArray &data);
// Writes the inflated data to `path`, atomically; false on any failure.
bool writeUncompressedDataToFile(const QByteArray &data, const QString &path);

// In-place forms: the buffer is replaced only on success.
bool compress(QByteArray &data);
bool uncompress(QByteArray &data);

}  // namespace Compression
