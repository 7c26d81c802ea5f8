#include "tools/renderpath.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <fstream>
#include <iterator>
#include <string_view>

#include "simulator/simulatr.h"

namespace tarnvale {

namespace {

constexpr std::string_view kHeader = "x,y,z,look_x,look_y,look_z";
constexpr double kStep = 30;  // metres a frame
constexpr int kAhead = 40;    // frames: where the viewer looks, and what ground it heeds
constexpr int kSmooth = 30;   // frames to each side over which heights are evened out
constexpr double kPi = 3.14159265358979323846;

std::string_view Trimmed(std::string_view text) {
    const auto blank = [](char c) { return c == ' ' || c == '\t' || c == '\r'; };
    while (!text.empty() && blank(text.front())) text.remove_prefix(1);
    while (!text.empty() && blank(text.back())) text.remove_suffix(1);
    return text;
}

// Six finite numbers, commas between them.
bool ParseNumbers(std::string_view line, double (&numbers)[6]) {
    for (int i = 0; i < 6; ++i) {
        const std::size_t comma = line.find(',');
        if ((comma == std::string_view::npos) != (i == 5)) return false;
        const std::string_view field = Trimmed(line.substr(0, comma));
        const auto parsed = std::from_chars(field.data(), field.data() + field.size(), numbers[i]);
        if (parsed.ec != std::errc{} || parsed.ptr != field.data() + field.size()) return false;
        if (!std::isfinite(numbers[i])) return false;
        if (i < 5) line.remove_prefix(comma + 1);
    }
    return true;
}

std::string WithoutBlanks(std::string_view text) {
    std::string kept;
    std::ranges::copy_if(text, std::back_inserter(kept),
                         [](char c) { return c != ' ' && c != '\t'; });
    return kept;
}

}  // namespace

bool ParseCameraPath(std::string_view text, std::vector<CameraPose>& poses, std::string& problem) {
    constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
    if (text.starts_with(kByteOrderMark)) text.remove_prefix(kByteOrderMark.size());
    poses.clear();
    bool headed = false;
    for (int number = 1; !text.empty(); ++number) {
        const std::size_t end = text.find('\n');
        const std::string_view line = Trimmed(text.substr(0, end));
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
        if (line.empty()) continue;
        if (!headed) {
            if (WithoutBlanks(line) != kHeader) {
                problem = fmt::format("line {}: the header must be {}", number, kHeader);
                return false;
            }
            headed = true;
            continue;
        }
        double n[6] = {};
        if (!ParseNumbers(line, n)) {
            problem = fmt::format("line {}: six numbers are wanted, {}", number, kHeader);
            return false;
        }
        const CameraPose pose{{n[0], n[1], n[2]}, {n[3], n[4], n[5]}};
        if (pose.eye == pose.lookAt) {
            problem = fmt::format("line {}: the viewer looks at the point where it is", number);
            return false;
        }
        poses.push_back(pose);
    }
    if (!headed)
        problem = fmt::format("the header {} is missing", kHeader);
    else if (poses.empty())
        problem = "there is no frame in it";
    return !poses.empty();
}

bool ReadCameraPath(const FILEPATH& path, std::vector<CameraPose>& poses, std::string& problem) {
    std::ifstream file(path, std::ios::binary);
    std::string text;
    if (file) text.assign(std::istreambuf_iterator<char>(file), {});
    if (!file) {
        problem = "camera path " + path.string() + " can't be read";
        return false;
    }
    if (ParseCameraPath(text, poses, problem)) return true;
    problem = "camera path " + path.string() + ": " + problem;
    return false;
}

bool WriteCameraPath(const FILEPATH& path, const std::vector<CameraPose>& poses) {
    std::ofstream file(path, std::ios::binary);
    file << kHeader << '\n';
    for (const auto& [eye, look] : poses) {
        file << fmt::format("{:.12g},{:.12g},{:.8g},{:.12g},{:.12g},{:.8g}\n", eye.x, eye.y, eye.z,
                            look.x, look.y, look.z);
    }
    file.close();
    return !file.fail();
}

std::vector<CameraPose> MakeCameraPath(const Simulator& simulator, int frames) {
    const Scene* const scene = simulator.GetScene();
    if (scene == nullptr) return {};
    const Box& box = scene->WholeBox();
    const double across = (box.xMax - box.xMin) * 0.36, along = (box.yMax - box.yMin) * 0.36;
    const double step = std::min(kStep, std::min(across, along) * 0.05);

    // Places in the scene, then the ground beneath them; beyond the last frame for what lies ahead.
    const std::size_t count = static_cast<std::size_t>(frames) + kAhead;
    std::vector<Vec3d> places(count);
    double t = kPi / 4;
    for (Vec3d& place : places) {
        place = {box.CentreX() + across * std::sin(t), box.CentreY() + along * std::sin(2 * t), 0};
        place.z = scene->FirstLayer(static_cast<float>(place.x), static_cast<float>(place.y));
        t += step / std::hypot(across * std::cos(t), 2 * along * std::cos(2 * t));
    }
    std::vector<double> highest(count);
    for (std::size_t i = 0; i < count; ++i) {
        const auto from = places.begin() + static_cast<std::ptrdiff_t>(i < kAhead ? 0 : i - kAhead);
        const auto to = places.begin() + static_cast<std::ptrdiff_t>(std::min(count, i + kAhead));
        highest[i] =
            std::max_element(from, to, [](const Vec3d& a, const Vec3d& b) { return a.z < b.z; })->z;
    }
    const auto smooth = [&](std::size_t i) {
        const std::size_t from = i < kSmooth ? 0 : i - kSmooth,
                          to = std::min(count, i + kSmooth + 1);
        double sum = 0;
        for (std::size_t k = from; k < to; ++k) sum += highest[k];
        return sum / static_cast<double>(to - from);
    };
    // High enough to see across, low enough for the ground to pass by.
    const double clearance = std::clamp(
        std::max((box.zMax - box.zMin) * 0.12, std::max(across, along) * 0.03), 60.0, 350.0);

    std::vector<CameraPose> poses;
    poses.reserve(static_cast<std::size_t>(frames));
    for (std::size_t i = 0; i < static_cast<std::size_t>(frames); ++i) {
        const Vec3d& here = places[i];
        const Vec3d& ahead = places[i + kAhead];
        // Straight lines over the ground: look as far ahead as the step makes kAhead frames.
        const double reach = step * kAhead;
        const double distance = std::max(std::hypot(ahead.x - here.x, ahead.y - here.y), 1e-3);
        const double eye = smooth(i) + clearance;
        const double look = eye - 0.22 * reach;
        CameraPose pose;
        const float exaggeration = simulator.VerticalExaggeration();
        const Vec3f eyeScene{static_cast<float>(here.x), static_cast<float>(here.y),
                             static_cast<float>(eye * exaggeration)};
        const Vec3f lookScene{static_cast<float>(here.x + (ahead.x - here.x) / distance * reach),
                              static_cast<float>(here.y + (ahead.y - here.y) / distance * reach),
                              static_cast<float>(look * exaggeration)};
        if (!simulator.SceneToMap(eyeScene, pose.eye).Good() ||
            !simulator.SceneToMap(lookScene, pose.lookAt).Good()) {
            return {};
        }
        poses.push_back(pose);
    }
    return poses;
}

}  // namespace tarnvale
