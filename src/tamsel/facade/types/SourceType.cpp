#include <tamsel/facade/types/SourceType.h>

namespace tamsel {

// Out of line: where g++ 12 sees through them, it warns of values that it thinks unset.
SourceType::SourceType(const SourceType&) = default;
SourceType::SourceType(SourceType&&) noexcept = default;
SourceType& SourceType::operator=(const SourceType&) = default;
SourceType& SourceType::operator=(SourceType&&) noexcept = default;
SourceType::~SourceType() = default;

} // namespace tamsel
