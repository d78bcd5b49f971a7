#pragma once

#include <QByteArrayView>
#include <QStringView>
#include <memory>
#include <vector>

// UTF-8 copies of texts that must live until a statement has run, written
// into a few blocks kept from one use to the next instead of a new byte
// array each. A copy is byte for byte what QString::toUtf8() makes: an
// unpaired surrogate becomes '?'.
class Utf8Scratch {
public:
    // The text in UTF-8, valid until the next clear().
    QByteArrayView add(QStringView text);
    // Drops the copies; the blocks are kept for the next ones.
    void clear();

private:
    static constexpr qsizetype kBlockSize = 64 * 1024;
    struct Block {
        std::unique_ptr<char[]> bytes;
        qsizetype size = 0;
    };
    // Room for `bytes` more bytes: the end of the block in use, else the
    // next (made when missing, larger than a block for a long text).
    char *reserve(qsizetype bytes);

    std::vector<Block> m_blocks;
    std::size_t m_current = 0;  // the block being filled
    qsizetype m_used = 0;       // bytes used in it
};
