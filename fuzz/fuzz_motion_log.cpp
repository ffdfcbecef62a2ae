// Any bytes as a motion log: rows in order and finite numbers, or an error of one line.

#include <formats/MotionLog.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <string>

using tamsel::formats::MotionLog;

namespace {

void require(bool condition)
{
    if (!condition)
        std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    std::istringstream stream(std::string(data, data + size));
    const auto log = MotionLog::parse(stream, "log");
    if (!log) {
        const std::string& line = log.error().localizedDescription;
        require(line.starts_with("log:") && line.find('\n') == std::string::npos && line.size() < 200);
        return 0;
    }
    const auto& rows = (*log)->rows();
    require(!rows.empty() && rows.front().offset.count() == 0);
    for (std::size_t index = 0; index < rows.size(); ++index) {
        const MotionLog::Row& row = rows[index];
        require(index == 0 || rows[index - 1].offset <= row.offset);
        require(row.rotationRate.has_value() == (*log)->hasRotationRate());
        require(row.pitch.has_value() == (*log)->hasPitch() && (row.rotationRate || row.pitch));
        const auto rate = row.rotationRate.value_or(tamsel::platform::CMRotationRate{});
        for (const double value : {rate.x, rate.y, rate.z, row.pitch.value_or(0)})
            require(std::isfinite(value));
        require((*log)->rowAt(row.offset) != nullptr);
    }
    return 0;
}
