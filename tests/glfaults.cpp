// A graphics driver's faults at will: preloaded into a program that draws with OpenGL 3.3, it
// answers for the driver as the files in the folder GLFAULTS say. "reset": how many contexts more
// learn that they were lost; "refuse": while it is there, no shader compiles whose text has its
// first line in it.
#include <dlfcn.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>

namespace {

constexpr unsigned kGuiltyReset = 0x8253, kCompileStatus = 0x8B81;

std::filesystem::path File(const char* name) {
    const char* const folder = std::getenv("GLFAULTS");  // NOLINT(concurrency-mt-unsafe)
    return std::filesystem::path(folder != nullptr ? folder : "/nonexistent") / name;
}

bool TakeReset() {
    const std::filesystem::path file = File("reset");
    int left = 0;
    if (!(std::ifstream(file) >> left)) return false;
    if (left > 1) {
        std::ofstream(file) << left - 1;
    } else {
        std::filesystem::remove(file);
    }
    return true;
}

std::map<unsigned, std::string>& Texts() {
    static std::map<unsigned, std::string> texts;
    return texts;
}

bool Refused(unsigned shader) {
    std::ifstream file(File("refuse"));
    if (!file) return false;
    std::string word;
    std::getline(file, word);
    return Texts()[shader].find(word) != std::string::npos;
}

template <typename Function>
Function Driver(const char* name) {
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

}  // namespace

extern "C" {

unsigned glGetGraphicsResetStatus() {
    static const auto driver = Driver<unsigned (*)()>("glGetGraphicsResetStatus");
    const unsigned answer = driver();
    return TakeReset() ? kGuiltyReset : answer;
}

void glShaderSource(unsigned shader, int count, const char* const* texts, const int* lengths) {
    static const auto driver =
        Driver<void (*)(unsigned, int, const char* const*, const int*)>("glShaderSource");
    driver(shader, count, texts, lengths);
    Texts()[shader] = texts[0];
}

void glGetShaderiv(unsigned shader, unsigned what, int* value) {
    static const auto driver = Driver<void (*)(unsigned, unsigned, int*)>("glGetShaderiv");
    driver(shader, what, value);
    if (what == kCompileStatus && Refused(shader)) *value = 0;
}
}
