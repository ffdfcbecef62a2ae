#pragma once

#include <host/metadata/CodeReader.h>

#include <vector>

namespace tamsel::host {

/// Reads a single picture with patience: while something in it may still be a code, looks again at evened light, turned,
/// smaller, larger and inverted. Takes some ten times as long as the reader alone, on a picture of two million pixels about
/// half a second. By rows, as the reader.
[[nodiscard]] std::vector<FoundCode> searchCodes(const CodeReader& reader, LumaPicture picture);

} // namespace tamsel::host
