#include "Utf8.h"

namespace tamsel::capture {

std::size_t sequenceLength(std::string_view text)
{
    const auto byte = [&](std::size_t index) { return static_cast<unsigned char>(text[index]); };
    const unsigned char first = byte(0);
    const std::size_t length = first < 0x80 ? 1
        : first >= 0xC2 && first <= 0xDF    ? 2
        : first >= 0xE0 && first <= 0xEF    ? 3
        : first >= 0xF0 && first <= 0xF4    ? 4
                                            : 0;
    if (length == 0 || length > text.size())
        return 0;
    for (std::size_t index = 1; index < length; ++index) {
        if ((byte(index) & 0xC0U) != 0x80)
            return 0;
    }
    if (length > 2) {
        const unsigned char second = byte(1);
        if ((first == 0xE0 && second < 0xA0) || (first == 0xED && second > 0x9F)
            || (first == 0xF0 && second < 0x90) || (first == 0xF4 && second > 0x8F))
            return 0;
    }
    return length;
}

} // namespace tamsel::capture
