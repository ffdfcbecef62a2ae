#pragma once

#include <formats/fileBytes.h>

#include <cstddef>
#include <string_view>
#include <vector>

namespace tamsel::formats {

/// Adds a chunk of a PNG file (ISO/IEC 15948, 5.3): its length, its type of four letters, its data and its checksum.
void appendPngChunk(std::vector<std::byte>& file, std::string_view type, ByteView data);

} // namespace tamsel::formats
