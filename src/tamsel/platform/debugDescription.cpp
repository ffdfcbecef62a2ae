#include <tamsel/platform/debugDescription.h>

#include <tamsel/platform/debugDescription.h>

namespace tamsel::platform {

std::string debugDescription(std::string_view text)
{
    static constexpr std::string_view digits = "0123456789ABCDEF";
    std::string result = "\"";
    for (const char character : text) {
        const auto code = static_cast<unsigned char>(character);
        switch (character) {
        case '"':
        case '\\':
            result += '\\';
            result += character;
            break;
        case '\n':
            result += "\\n";
            break;
        case '\r':
            result += "\\r";
            break;
        case '\t':
            result += "\\t";
            break;
        case '\0':
            result += "\\0";
            break;
        default:
            if (code < 0x20 || code == 0x7F) {
                result += "\\u{";
                if (code >= 0x10)
                    result += digits[code >> 4U];
                result += digits[code & 0xFU];
                result += '}';
            } else {
                result += character;
            }
        }
    }
    return result += '"';
}

} // namespace tamsel::platform
