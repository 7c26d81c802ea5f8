#pragma once

#include "qtbase/windowplacement.h"  // IWYU pragma: export
