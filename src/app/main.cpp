#include "app/tarnvale.h"

int main(int argc, char** argv) {
    tarnvale::CTarnvaleApp app(argc, argv);
    const bool started = app.InitInstance();
    const int code = started ? app.Run() : 1;
    app.ExitInstance();
    return code;
}
