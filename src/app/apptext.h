#pragma once

#include "qtbase/apptext.h"  // IWYU pragma: export
