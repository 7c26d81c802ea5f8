#pragma once

#include <proj.h>

#include <memory>
#include <string>

namespace tarnvale {

struct ProjContextDeleter {
    void operator()(PJ_CONTEXT* context) const noexcept { proj_context_destroy(context); }
};
struct ProjObjectDeleter {
    void operator()(PJ* object) const noexcept { proj_destroy(object); }
};
using ProjContext = std::unique_ptr<PJ_CONTEXT, ProjContextDeleter>;
using ProjObject = std::unique_ptr<PJ, ProjObjectDeleter>;

/// A context for one thread at a time: no network, nothing printed.
/// May throw std::bad_alloc.
[[nodiscard]] ProjContext NewProjContext();

/// Two-way conversion between two systems, x east or longitude first on both sides.
/// @param context  has to outlive the answer
/// @return null if there is none
[[nodiscard]] ProjObject NewConversion(PJ_CONTEXT* context, const std::string& fromWkt,
                                       const std::string& toWkt);

}  // namespace tarnvale
