#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

#include "graphics/opengl3/globject.h"
#include "graphics/opengl3/programinputs.h"

namespace tarnvale {

/// Where the colour comes from that a texel is shaded by, or that stands without one.
enum class Shade : std::uint8_t {
    None,   ///< texels stay as they are: a white material in full light
    Whole,  ///< the same everywhere: no normals, so the ambient light is all that comes in
    Lit,    ///< from vertex to vertex, by lights and normals
};

/// What a program does.
struct ProgramUse {
    Shade shade = Shade::Whole;
    bool textured = false;
    bool alphaTest = false;  ///< drops pixels by their alpha
    bool fog = false;
    bool decoded = false;  ///< texels come as light and are turned into display values again
    [[nodiscard]] constexpr std::size_t Index() const noexcept {
        return (textured ? 1U : 0U) | (fog ? 2U : 0U) | (alphaTest ? 4U : 0U) |
               (decoded ? 8U : 0U) | static_cast<std::size_t>(shade) * 16;
    }
};

/// The programs of one context. A few are made when it is opened, the others when they are first
/// drawn with: all of them would take a view some ten megabytes and more time than all else that
/// opening does. Thread: that of the context, which must be current.
class Programs {
public:
    // Places of a vertex's values.
    static constexpr GLuint kPosition = 0, kTexcoord = 1, kNormal = 2;

    /// @param all  every program, to find out whether the driver takes them
    /// @param why  out: the driver's words, if it can't
    [[nodiscard]] bool Build(bool all, std::string& why);
    /// Makes a program the current one and sends what changed since it was so last.
    /// @param use       Shade::None isn't asked for: it is found out
    /// @param material  red, green, blue, alpha, before light falls on it
    void Use(ProgramUse use, const ProgramInputs& inputs, const std::array<float, 4>& material);
    /// The context is gone, and the programs with it.
    void Abandon() noexcept;

private:
    struct Program {
        GlProgram name;
        bool refused = false;  // by the driver
        std::array<float, 4> colour{-1, -1, -1, -1};
        GLint clip = -1, material = -1, ambient = -1, lights = -1, lightDirections = -1,
              lightColours = -1, alphaRange = -1, fogColour = -1, fog = -1;
        std::uint64_t model = 0, light = 0, alpha = 0, fogging = 0;
    };
    [[nodiscard]] bool Link(ProgramUse use, std::string& why);
    [[nodiscard]] Program& ProgramFor(ProgramUse use);

    std::array<Program, 48> programs_;
    std::array<GlShader, 2> vertexShaders_;  // without and with lights
    const Program* current_ = nullptr;
};

}  // namespace tarnvale
