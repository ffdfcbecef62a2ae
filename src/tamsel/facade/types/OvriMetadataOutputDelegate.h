#pragma once

#include <tamsel/facade/types/OvriMetadataObjects.h>

#include <vector>

namespace tamsel {

class OvriSourceManager;

/// Receives the objects that were detected in frames. A class that overrides only one of the two calls adds a using
/// declaration for the other, or some compilers warn. Held weakly by the manager and called on its response queue,
/// never inside a public operation. Override what you need.
class OvriMetadataOutputDelegate {
public:
    virtual ~OvriMetadataOutputDelegate() = default;

    /// The first face of a batch, with every batch that has one.
    virtual void sourceManagerDidDetect(
        OvriSourceManager& /*manager*/, const OvriMetadataFaceObject& /*face*/)
    {
    }
    /// The codes of a batch, with every batch that has any.
    virtual void sourceManagerDidDetect(
        OvriSourceManager& /*manager*/, const std::vector<OvriMetadataMachineReadableCodeObject>& /*codes*/)
    {
    }
};

} // namespace tamsel
