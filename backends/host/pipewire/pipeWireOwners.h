#pragma once

// The host's use of libpipewire, with one owner for each kind of its objects.

#include <pipewire/pipewire.h>

#include <memory>

namespace tamsel::host {

/// Deletes with a function of the library.
template <auto function> struct DeletePipeWire {
    void operator()(auto* object) const { function(object); }
};

using OwnedLoop = std::unique_ptr<pw_loop, DeletePipeWire<pw_loop_destroy>>;
using OwnedContext = std::unique_ptr<pw_context, DeletePipeWire<pw_context_destroy>>;
using OwnedCore = std::unique_ptr<pw_core, DeletePipeWire<pw_core_disconnect>>;
using OwnedProxy = std::unique_ptr<pw_proxy, DeletePipeWire<pw_proxy_destroy>>;
using OwnedStream = std::unique_ptr<pw_stream, DeletePipeWire<pw_stream_destroy>>;

} // namespace tamsel::host
