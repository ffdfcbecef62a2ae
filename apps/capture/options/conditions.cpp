#include "options/conditions.h"

#include "options/CodeKinds.h"

#include <algorithm>
#include <ranges>
#include <string_view>

namespace tamsel::capture {

Parsed<std::vector<CaptureCondition>> readConditions(const std::string& given)
{
    std::vector<CaptureCondition> conditions;
    if (given == "none")
        return conditions;
    for (const auto part : std::views::split(given, ',')) {
        const std::string_view name(part.begin(), part.end());
        constexpr std::string_view codeOf = "code:";
        const auto* known = std::ranges::find(
            codeKinds, name.starts_with(codeOf) ? name.substr(codeOf.size()) : name, &CodeKind::first);
        if (name == "still")
            conditions.push_back(CaptureCondition::still());
        else if (name == "tilted")
            conditions.push_back(CaptureCondition::tilted());
        else if (name == "face")
            conditions.push_back(CaptureCondition::face());
        else if (name == "code")
            conditions.push_back(CaptureCondition::code());
        else if (name.starts_with(codeOf) && known != codeKinds.end())
            conditions.push_back(CaptureCondition::code(known->second));
        else
            return std::unexpected(std::string("'").append(name)
                + "' is none of still, tilted, face, code, code:KIND (as code:pdf417), or none alone");
    }
    return conditions;
}

} // namespace tamsel::capture
