#pragma once

#include <gtest/gtest.h>

#include <string>

#include "geom/transgen.h"

namespace tarnvale {

/// A coordinate reference system that is known to be understood.
inline COORDREFSYS System(const std::string& text) {
    COORDREFSYS system;
    EXPECT_TRUE(COORDREFSYS::FromText(text, system).Good()) << text;
    return system;
}

}  // namespace tarnvale
