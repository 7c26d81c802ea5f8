#pragma once

#include "qtbase/appearance.h"  // IWYU pragma: export
