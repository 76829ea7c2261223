#include "class_a/standard/CBase64.h"

#include <algorithm>
#include <array>

#include "class_a/standard/ksl_throw.h"

using ksl::CHexStore;
using ksl::CMessage;
using ksl::throw_exception;

namespace {

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/=";
constexpr unsigned char kPadding = 64;
constexpr unsigned char kNoCode = 255;

// The code of each character; whatever is not in the alphabet, all bytes above 127 among it, has none.
constexpr std::array<unsigned char, 256> inverse_alphabet() {
    std::array<unsigned char, 256> codes = {};
    for (unsigned char& code : codes)
        code = kNoCode;
    for (unsigned char i = 0; i <= kPadding; ++i)
        codes[static_cast<unsigned char>(kAlphabet[i])] = i;
    return codes;
}

constexpr std::array<unsigned char, 256> kCodes = inverse_alphabet();

}  // namespace

std::string CBase64::encode(const CHexStore& bytes) {
    std::string text;
    text.reserve((bytes.size() + 2) / 3 * 4);
    for (std::size_t i = 0; i < bytes.size(); i += 3)
        _encodeBlock(bytes.data() + i, std::min<std::size_t>(3, bytes.size() - i), text);
    return text;
}

void CBase64::_encodeBlock(const unsigned char* block, std::size_t size, std::string& text) {
    if (size < 1 || size > 3)
        throw_exception(KSL_STATIC_SITE("CBase64::encode"), CMessage("Cannot encode to base 64."),
                        CMessage("Invalid block size."));
    unsigned char codes[4];
    _split(block, size, codes);
    for (const unsigned char code : codes) {
        if (code >= kPadding)
            throw_exception(KSL_STATIC_SITE("CBase64::encode"), CMessage("Error encoding base 64."),
                            CMessage("Invalid conversion result."));
    }
    if (size < 3) codes[3] = kPadding;
    if (size < 2) codes[2] = kPadding;
    for (const unsigned char code : codes)
        text += kAlphabet[code];
}

void CBase64::_split(const unsigned char* block, std::size_t size, unsigned char (&codes)[4]) {
    unsigned bits = 0;
    switch (size) {
        case 3:
            bits |= block[2];
            [[fallthrough]];
        case 2:
            bits |= block[1] * 0x100U;
            [[fallthrough]];
        case 1:
            bits |= block[0] * 0x10000U;
            break;
        default:
            throw_exception(KSL_STATIC_SITE("CBase64::encode"), CMessage("Error encoding base 64."),
                            CMessage("Invalid block size."));
    }
    for (std::size_t i = 4; i-- > 0; bits >>= 6)
        codes[i] = bits & 0x3f;
}

CHexStore CBase64::decode(const std::string& text) {
    if (text.size() % 4 != 0)
        throw_exception(KSL_STATIC_SITE("CBase64::decode"),
                        CMessage("Cannot decode input '%1' from base 64.") << text,
                        CMessage("Invalid length."));
    CHexStore bytes(16, "-");
    for (std::size_t i = 0; i < text.size(); i += 4) {
        unsigned codes[4];
        for (std::size_t j = 0; j < 4; ++j) {
            codes[j] = kCodes[static_cast<unsigned char>(text[i + j])];
            if (codes[j] == kNoCode)
                throw_exception(KSL_STATIC_SITE("CBase64::decode"), CMessage("Error decoding base 64."),
                                CMessage("Invalid data."));
        }
        bytes.push_back(static_cast<unsigned char>(codes[0] * 4 + codes[1] / 16 % 4));
        bytes.push_back(static_cast<unsigned char>(codes[1] % 16 * 16 + codes[2] / 4 % 16));
        bytes.push_back(static_cast<unsigned char>(codes[2] * 64 % 256 + codes[3] % 64));
        if (codes[3] == kPadding) {
            bytes.pop_back();
            if (codes[2] == kPadding) bytes.pop_back();
        }
    }
    return bytes;
}
