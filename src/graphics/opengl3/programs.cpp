#include "graphics/opengl3/programs.h"

#include <algorithm>
#include <span>

#include "base/color.h"

namespace tarnvale {

namespace {

// Light is summed at the vertices, as cards did when the light's strengths were chosen. Where there
// are no normals the ambient light is all that comes in, and the colour the same everywhere.
constexpr const char* kVertexText = R"(
layout(location = 0) in vec3 position;
layout(location = 1) in vec2 texcoord;
layout(location = 2) in vec3 normal;
uniform mat4 clip;
#ifdef LIT
uniform vec4 material;
uniform vec3 ambient;
uniform int lights;
uniform vec3 lightDirections[9];
uniform vec3 lightColours[9];
out vec4 colour;
#endif
out vec2 place;
void main() {
#ifdef LIT
    vec3 light = ambient;
    for (int i = 0; i < lights; ++i)
        light += lightColours[i] * max(dot(normal, lightDirections[i]), 0.0);
    colour = vec4(min(material.rgb * light, 1.0), material.a);
#endif
    place = texcoord;
    gl_Position = clip * vec4(position, 1.0);
}
)";

constexpr const char* kFragmentText = R"(
#ifdef LIT
in vec4 colour;
#elif defined(WHOLE)
uniform vec4 material;
#endif
in vec2 place;
out vec4 pixel;
uniform sampler2D tile;
uniform vec3 alphaRange;
uniform vec3 fogColour;
uniform vec3 fog;
void main() {
#if defined(LIT)
    vec4 result = colour;
#elif defined(WHOLE)
    vec4 result = material;
#endif
#ifdef TEXTURED
    vec4 texel = texture(tile, place);
#ifdef DECODED
    texel.rgb = mix(texel.rgb * 12.92, 1.055 * pow(texel.rgb, vec3(1.0 / 2.4)) - 0.055,
                    greaterThan(texel.rgb, vec3(0.0031308)));
#endif
#if defined(LIT) || defined(WHOLE)
    result = vec4(result.rgb * texel.rgb, texel.a);  // a texture brings its own alpha
#else
    vec4 result = texel;
#endif
#endif
#ifdef ALPHA_TEST
    float alpha = floor(result.a * 255.0 + 0.5);
    bool inside = alpha >= alphaRange.x && alpha <= alphaRange.y;
    if (inside == (alphaRange.z > 0.5)) discard;
#endif
#ifdef FOG
    float away = 1.0 / gl_FragCoord.w;
    float depth = fog.x * away;
    float own = fog.z < 0.5 ? fog.x - fog.y * away : exp(fog.z < 1.5 ? -depth : -depth * depth);
    result.rgb = mix(fogColour, result.rgb, clamp(own, 0.0, 1.0));
#endif
    pixel = result;
}
)";

constexpr ProgramUse kPlainest{.shade = Shade::Whole};
constexpr ProgramUse kPlainestTextured{.shade = Shade::None, .textured = true};

template <typename GetSize, typename GetText>
std::string LogOf(GLuint name, GetSize getSize, GetText getText) {
    GLint size = 0;
    getSize(name, GL_INFO_LOG_LENGTH, &size);
    std::string log(static_cast<std::size_t>(size > 0 ? size : 0), '\0');
    if (size > 0) getText(name, size, nullptr, log.data());
    // The first line says enough.
    return log.substr(0, log.find_first_of(std::string("\n\0", 2)));
}

bool Compile(GLenum stage, const std::string& text, GlShader& shader, std::string& why) {
    shader = GlShader::Own(glCreateShader(stage));
    const char* const source = text.c_str();
    glShaderSource(shader.Name(), 1, &source, nullptr);
    glCompileShader(shader.Name());
    GLint done = GL_FALSE;
    glGetShaderiv(shader.Name(), GL_COMPILE_STATUS, &done);
    if (done == GL_FALSE) why = LogOf(shader.Name(), glGetShaderiv, glGetShaderInfoLog);
    return done != GL_FALSE;
}

std::string Text(const char* body, ProgramUse use) {
    std::string text = "#version 330 core\n";
    if (use.shade == Shade::Lit) text += "#define LIT\n";
    if (use.shade == Shade::Whole) text += "#define WHOLE\n";
    if (use.textured) text += "#define TEXTURED\n";
    if (use.alphaTest) text += "#define ALPHA_TEST\n";
    if (use.fog) text += "#define FOG\n";
    if (use.decoded) text += "#define DECODED\n";
    return text + body;
}

}  // namespace

bool Programs::Build(bool all, std::string& why) {
    current_ = nullptr;
    for (const Shade shade : {Shade::Whole, Shade::Lit}) {
        GlShader& vertex = vertexShaders_[shade == Shade::Lit ? 1 : 0];
        if (!Compile(GL_VERTEX_SHADER, Text(kVertexText, {.shade = shade}), vertex, why))
            return false;
    }
    if (!Link(kPlainest, why) || !Link(kPlainestTextured, why)) return false;
    if (!all) return true;
    for (const Shade shade : {Shade::None, Shade::Whole, Shade::Lit}) {
        for (unsigned i = 0; i < programs_.size() / 3; ++i) {
            const ProgramUse use{.shade = shade,
                                 .textured = (i & 1U) != 0,
                                 .alphaTest = (i & 2U) != 0,
                                 .fog = (i & 4U) != 0,
                                 .decoded = (i & 8U) != 0};
            // Never asked for.
            if (!use.textured && (use.decoded || use.alphaTest || shade == Shade::None)) continue;
            if (!Link(use, why)) return false;
        }
    }
    return true;
}

bool Programs::Link(ProgramUse use, std::string& why) {
    Program& program = programs_[use.Index()];
    program = {};
    program.refused = true;
    const GlShader& vertex = vertexShaders_[use.shade == Shade::Lit ? 1 : 0];
    GlShader fragment;
    if (!Compile(GL_FRAGMENT_SHADER, Text(kFragmentText, use), fragment, why)) return false;
    program.name = GlProgram::Own(glCreateProgram());
    const GLuint name = program.name.Name();
    glAttachShader(name, vertex.Name());
    glAttachShader(name, fragment.Name());
    glLinkProgram(name);
    glDetachShader(name, vertex.Name());
    glDetachShader(name, fragment.Name());
    GLint done = GL_FALSE;
    glGetProgramiv(name, GL_LINK_STATUS, &done);
    if (done == GL_FALSE) {
        why = LogOf(name, glGetProgramiv, glGetProgramInfoLog);
        program.name.Reset();
        return false;
    }
    const auto place = [name](const char* uniform) { return glGetUniformLocation(name, uniform); };
    program.clip = place("clip");
    program.material = place("material");
    program.ambient = place("ambient");
    program.lights = place("lights");
    program.lightDirections = place("lightDirections");
    program.lightColours = place("lightColours");
    program.alphaRange = place("alphaRange");
    program.fogColour = place("fogColour");
    program.fog = place("fog");
    program.refused = false;
    return true;
}

// A driver that took the parts one by one hardly refuses them together, short of memory; then the
// picture lacks an effect, and no more. It isn't asked again: that would cost milliseconds a draw.
Programs::Program& Programs::ProgramFor(ProgramUse use) {
    Program& program = programs_[use.Index()];
    std::string why;
    if (program.name.Name() != 0 || (!program.refused && Link(use, why))) return program;
    return programs_[(use.textured ? kPlainestTextured : kPlainest).Index()];
}

void Programs::Use(ProgramUse use, const ProgramInputs& inputs,
                   const std::array<float, 4>& material) {
    std::array<float, 4> colour = material;
    if (use.shade == Shade::Whole) {
        for (std::size_t i = 0; i < 3; ++i)
            colour[i] = std::min(colour[i] * inputs.ambient[i], 1.0F);
        const bool white = std::ranges::all_of(
            std::span(colour).first(3), [](float part) { return part >= COLOR::Plain().Red(); });
        if (white && use.textured) use.shade = Shade::None;
    }
    Program& program = ProgramFor(use);
    if (current_ != &program) glUseProgram(program.name.Name());
    current_ = &program;
    if (program.model != inputs.model) {
        glUniformMatrix4fv(program.clip, 1, GL_FALSE, inputs.clip.data());
        program.model = inputs.model;
    }
    if (use.shade != Shade::None && program.colour != colour) {
        glUniform4fv(program.material, 1, colour.data());
        program.colour = colour;
    }
    if (use.shade == Shade::Lit && program.light != inputs.light) {
        glUniform3fv(program.ambient, 1, inputs.ambient.data());
        glUniform1i(program.lights, inputs.lights);
        if (inputs.lights > 0) {
            glUniform3fv(program.lightDirections, inputs.lights, inputs.lightDirections.data());
            glUniform3fv(program.lightColours, inputs.lights, inputs.lightColours.data());
        }
        program.light = inputs.light;
    }
    if (use.alphaTest && program.alpha != inputs.alpha) {
        glUniform3fv(program.alphaRange, 1, inputs.alphaRange.data());
        program.alpha = inputs.alpha;
    }
    if (use.fog && program.fogging != inputs.fogging) {
        glUniform3fv(program.fogColour, 1, inputs.fogColour.data());
        glUniform3fv(program.fog, 1, inputs.fog.data());
        program.fogging = inputs.fogging;
    }
}

void Programs::Abandon() noexcept {
    for (Program& program : programs_) program.name.Abandon();
    for (GlShader& shader : vertexShaders_) shader.Abandon();
    current_ = nullptr;
}

}  // namespace tarnvale
