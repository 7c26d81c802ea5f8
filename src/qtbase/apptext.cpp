#include "qtbase/apptext.h"

#include "base/textres.h"

namespace tarnvale {

QString TextOf(const char* key) {
    return QString::fromStdString(TEXTRES::Text(key));
}

}  // namespace tarnvale
