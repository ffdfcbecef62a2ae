#include <tamsel/platform/UUID.h>

#include <random>

namespace tamsel::platform {

UUID UUID::random()
{
    std::random_device source;
    std::array<std::uint8_t, 16> bytes{};
    for (std::size_t index = 0; index < bytes.size(); index += 4) {
        const unsigned word = source();
        for (std::size_t byte = 0; byte < 4; ++byte)
            bytes[index + byte] = static_cast<std::uint8_t>(word >> (8 * byte));
    }
    bytes[6] = static_cast<std::uint8_t>((bytes[6] & 0x0FU) | 0x40U);
    bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3FU) | 0x80U);
    return UUID(bytes);
}

std::string UUID::uuidString() const
{
    constexpr const char* digits = "0123456789ABCDEF";
    std::string text;
    for (std::size_t index = 0; index < bytes_.size(); ++index) {
        if (index == 4 || index == 6 || index == 8 || index == 10)
            text += '-';
        text += digits[bytes_[index] >> 4U];
        text += digits[bytes_[index] & 0x0FU];
    }
    return text;
}

} // namespace tamsel::platform
