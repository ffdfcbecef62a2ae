#include <tamsel/platform/core/Reports.h>

#include <tamsel/platform/core/ReportSink.h>

namespace tamsel::platform {

namespace {

std::string describeSubject(DeviceError::Permission)
{
    return "no permission for the camera";
}

std::string describeSubject(DeviceError::Capability capability)
{
    return capability == DeviceError::Capability::gyro ? "no gyroscope" : "no device motion";
}

std::string describeOne(const DeviceError& error)
{
    return "device error: "
        + std::visit([](auto subject) { return describeSubject(subject); }, error.factory().subject);
}

std::string describeOne(const FlowError& error)
{
    std::string text = "flow error: " + error.factory().reason.value_or("no reason given");
    if (error.factory().element)
        text += " (" + *error.factory().element + ")";
    return text;
}

std::string describeOne(const NativeError& error)
{
    return "native error: " + error.factory().error.localizedDescription;
}

} // namespace

void DeviceError::report(ReportSink& sink) const
{
    sink.report(*this);
}

void FlowError::report(ReportSink& sink) const
{
    sink.report(*this);
}

void NativeError::report(ReportSink& sink) const
{
    sink.report(*this);
}

std::string describe(const TamselError& error)
{
    return std::visit([](const auto& one) { return describeOne(one); }, error);
}

} // namespace tamsel::platform
