#include "model/Masking.h"

#include <array>

namespace Masking {

QByteArray maskedData(const QByteArray &data) {
    // Each byte is XORed with a key byte that depends only on its position.
    static constexpr std::array<unsigned char, 16> kKey{0x5A, 0xC3, 0x1F, 0x96, 0x2E, 0x71,
                                                        0xB8, 0x04, 0xE9, 0x3D, 0x62, 0xA7,
                                                        0x0B, 0xD4, 0x48, 0x8F};
    QByteArray out(data);
    for (qsizetype i = 0; i < out.size(); ++i)
        out[i] = char(static_cast<unsigned char>(out[i]) ^ kKey[std::size_t(i) % kKey.size()] ^
                      static_cast<unsigned char>((i / qsizetype(kKey.size())) * 0x9D));
    return out;
}

}  // namespace Masking
