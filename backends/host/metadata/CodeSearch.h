#pragma once

#include <host/metadata/CodeReader.h>

#include <vector>

namespace tamsel::host {

/// Reads a single picture thoroughly: while parts of it may still be a code, examines them again with evened light,
/// rotated, smaller, larger and inverted. Takes some ten times as long as the reader alone, about half a second for two
/// million pixels. By rows, like the reader.
[[nodiscard]] std::vector<FoundCode> searchCodes(const CodeReader& reader, LumaPicture picture);

} // namespace tamsel::host
