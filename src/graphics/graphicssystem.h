#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "base/color.h"
#include "base/optionpanel.h"
#include "base/status.h"
#include "base/types.h"
#include "base/vec3f.h"
#include "graphics/picturefile.h"
#include "graphics/rendermesh.h"
#include "graphics/renderwindow.h"

namespace tarnvale {

class GraphicsSystem;

/// Layout of the pixels that terrain textures are handed in.
enum class TexturePixelFormat : std::uint8_t {
    Rgb = 0,
    Rgba = 1,
    Bgr = 2,
    Bgra = 3,
    A8R8G8B8 = 4,
    X8R8G8B8 = 5,
    R5G6B5 = 6,
    X1R5G5B5 = 7,
    A1R5G5B5 = 8,
    A4R4G4B4 = 9,
    R3G3B2 = 10,
    A8R3G3B2 = 11,
    X4R4G4B4 = 12,
};

/// Bits, shifts and masks of a TexturePixelFormat; all zero for an unknown one.
struct PixelFormatDescriptor {
    int bitsPerPixel = 0;
    std::array<int, 3> bits{}, shifts{};  ///< red, green, blue
    std::array<std::uint32_t, 3> masks{};
    friend bool operator==(const PixelFormatDescriptor&, const PixelFormatDescriptor&) = default;
};
[[nodiscard]] PixelFormatDescriptor DescribePixelFormat(TexturePixelFormat format);
/// @return bytes of a pixel, 1 to 4; 0 for an unknown format
[[nodiscard]] int BytesPerPixel(TexturePixelFormat format);

/// A texture of one GraphicsSystem, which owns it. Callers hold loans that end at DestroyTexture,
/// RecycleTexture or Shutdown.
class TextureHandle {
public:
    TextureHandle(GraphicsSystem* owner, std::uint64_t native) : owner_(owner), native_(native) {}
    virtual ~TextureHandle() = default;
    TextureHandle(const TextureHandle&) = delete;
    TextureHandle& operator=(const TextureHandle&) = delete;
    [[nodiscard]] GraphicsSystem* Owner() const noexcept { return owner_; }
    [[nodiscard]] std::uint64_t Native() const noexcept { return native_; }
    [[nodiscard]] bool Loaded() const noexcept { return loaded_; }
    void SetLoaded(bool loaded) noexcept { loaded_ = loaded; }
    /// Whether no texel lets through what lies behind; false where that isn't known.
    [[nodiscard]] bool Opaque() const noexcept { return opaque_; }
    void SetOpaque(bool opaque) noexcept { opaque_ = opaque; }

private:
    GraphicsSystem* owner_;
    std::uint64_t native_;
    bool loaded_ = false, opaque_ = false;
};

/// @param bgra  pixels of four bytes, the last of them alpha
[[nodiscard]] bool AllOpaque(std::span<const std::byte> bgra);

enum class TextureUse : std::uint8_t { Terrain, Sky };  ///< Sky: drawn behind all else
/// Full: projection, camera, fog, cleared colour and depth. Overlay: projection and cleared depth
/// only.
enum class FramePass : std::uint8_t { Full, Overlay };
enum class AlphaFunction : std::uint8_t {
    Never = 0,
    Always = 1,
    Equal = 2,
    NotEqual = 3,
    Less = 4,
    LessEqual = 5,
    Greater = 6,
    GreaterEqual = 7,
};
enum class LineMode : std::uint8_t { Segments = 0, Strip = 1 };

/// What a system did since the frame began; for figures and tests.
struct DrawCounters {
    std::uint32_t drawCalls = 0;  ///< calls as sent to the driver
    std::uint64_t triangles = 0;
    std::uint32_t uploads = 0;  ///< textures filled
};

/// The one interface through which everything draws; one instance for each view.
/// Thread: the frame cycle's only. Every operation but Open leaves a closed system alone.
class GraphicsSystem {
public:
    virtual ~GraphicsSystem() = default;
    GraphicsSystem(const GraphicsSystem&) = delete;
    GraphicsSystem& operator=(const GraphicsSystem&) = delete;

    /// Side of a terrain texture in pixels. Valid after Open.
    [[nodiscard]] virtual int GetTextureSize() const = 0;
    /// @param pixels  Terrain: side x side pixels in PixelFormat(), bottom row first; Sky: the size
    ///                of SetSkyTextureSize in blue, green, red, spare. A sky is smoothed; its
    ///                columns end at its sides, its rows go on beyond them as SetSkyMirrored says
    /// @return null when memory or the budget for textures is out; nothing is reported
    [[nodiscard]] virtual TextureHandle* CreateTexture(std::span<const std::byte> pixels,
                                                       TextureUse use) = 0;
    /// Ignores null and handles of other systems.
    virtual void DestroyTexture(TextureHandle* handle) = 0;
    /// Like DestroyTexture, but keeps the native texture for the next CreateTexture.
    virtual void RecycleTexture(TextureHandle* handle) = 0;
    /// The next EndFrame writes its picture to `path`; WritePicture tells in which format.
    /// @param texts  asked for as the picture is written, for text chunks; may be empty
    void RequestScreenShot(FILEPATH path, std::function<PictureTexts()> texts = {});
    [[nodiscard]] bool ScreenShotWanted() const noexcept { return screenShotWanted_; }
    /// What came of the last request, told once; none while nothing new was written.
    /// ScreenShotFailed: nothing was written.
    [[nodiscard]] std::optional<Status> TakeScreenShotResult();
    virtual Status Shutdown() = 0;
    /// @return 0 usable, 1 not usable and the user was told why, 2 no opinion
    [[nodiscard]] virtual int CheckAvailable() const = 0;
    [[nodiscard]] virtual std::unique_ptr<GraphicsSystem> CreateInstance() const = 0;
    virtual void SetDepthWrite(bool enable) = 0;
    virtual void SetAlphaTest(bool enable) = 0;
    virtual void SetAlphaFunction(AlphaFunction function, float reference) = 0;
    virtual void EnableLight(int index, bool enable) = 0;
    virtual void SetLight(int index, const Vec3f& position, const Vec3f& direction,
                          COLOR colour) = 0;
    virtual void SetAmbient(COLOR colour) = 0;
    virtual Status EndFrame() = 0;
    virtual void DrawLines(std::span<const Vec3f> vertices, COLOR colour, LineMode mode) = 0;
    virtual void DrawPoints(std::span<const Vec3f> vertices, COLOR colour) = 0;
    virtual void DrawSubterrainVeil() = 0;
    /// Draws the meshes in order. The meshes are used before the call returns.
    virtual void DrawMeshes(const RenderMeshBatch& batch) = 0;
    /// Row-vector order, translation in the last row. Replaces, doesn't accumulate.
    virtual void SetModelMatrix(std::span<const double, 16> matrix) = 0;
    /// Sends what a system has gathered and not yet sent, so that Counters are those of all that
    /// was drawn. Costs calls, so only whoever measures calls it.
    virtual void Flush() {}
    virtual void BeginFrame(const RenderCamera& camera, int width, int height, FramePass pass) = 0;
    /// Counters since the last full BeginFrame.
    [[nodiscard]] virtual DrawCounters Counters() const = 0;

    /// For measuring: EndFrame waits until the picture is done, so that a frame's time has all its
    /// work. Means nothing to a system that doesn't draw.
    void SetFinishFrames(bool finish) noexcept { finishFrames_ = finish; }

    /// Controls of its own on the graphics page of the options, called on prototypes: adds them;
    /// shows them while it is the system selected there; takes over what they show.
    virtual void AddOptionControls(OptionPanel&) {}
    virtual void ShowOptionControls(OptionPanel&, bool) {}
    virtual void ApplyOptionControls(const OptionPanel&) {}

    /// Shuts down, then starts on `window` (on loan until Shutdown). @return BadState for null
    Status Open(RenderWindow* window);
    /// Whether the driver took the device away, with all textures in it, as after a reset of the
    /// card. What was drawn since is lost; what was set isn't.
    [[nodiscard]] bool IsLost() const noexcept { return lost_; }
    /// Opens a lost system again on its window, without its textures. May be tried again.
    /// @return as Open; IsLost then tells that it failed
    Status Rebuild();
    [[nodiscard]] bool IsOpen() const noexcept { return window_ != nullptr; }
    /// Whether anybody can see what is drawn. False while closed.
    [[nodiscard]] bool IsVisible() const { return window_ != nullptr && window_->Visible(); }
    [[nodiscard]] int GetClientWidth() const;
    [[nodiscard]] int GetClientHeight() const;
    /// What callers use in place of BeginFrame: fetches the client size into width and height,
    /// begins the frame, and refreshes the pixel scales when size or quality changed.
    void BeginView(const RenderCamera& camera, int& width, int& height, FramePass pass);

    [[nodiscard]] TexturePixelFormat PixelFormat() const noexcept { return pixelFormat_; }
    [[nodiscard]] const std::string& Name() const noexcept { return name_; }
    [[nodiscard]] int DescriptionNumber() const noexcept { return descriptionNumber_; }
    [[nodiscard]] const std::string& LibraryList() const noexcept { return libraries_; }
    void SetLightingWanted(bool wanted) noexcept { lightingWanted_ = wanted; }
    void SetSkyTextureSize(int width, int height) noexcept {
        skyWidth_ = width;
        skyHeight_ = height;
    }
    /// Whether the next sky texture is mirrored where it goes around again, or repeated.
    void SetSkyMirrored(bool mirrored) noexcept { skyMirrored_ = mirrored; }
    /// Scene units that symbols use: 2 tan(fov / 2) and 0.1, each over height x pitch x quality.
    [[nodiscard]] std::array<float, 2> PixelScales() const noexcept { return pixelScales_; }
    /// The scratch batch of one mesh.
    [[nodiscard]] RenderMeshBatch& ScratchBatch() noexcept { return scratchBatch_; }
    [[nodiscard]] RenderMesh& ScratchMesh() noexcept { return scratchMesh_; }

    /// Sun vector of the scene, unit length, from the sun towards the ground; set by whoever knows
    /// the north offset, used by every system from its next frame on.
    static void SetSunVector(const Vec3f& sun);
    [[nodiscard]] static Vec3f SunVector();
    /// @param northOffset degrees. Vector (cos a cos e, sin a cos e, -sin e), a = 90 - azimuth +
    /// offset.
    [[nodiscard]] static Vec3f ComputeSunVector(float elevation, float azimuth, float northOffset);

protected:
    GraphicsSystem(std::string name, int descriptionNumber, std::string libraries);
    virtual Status OpenDevice() = 0;
    /// Answers the request for a screen shot. @param picture  an empty one where there is none
    void SaveScreenShot(const PictureView& picture);

    RenderWindow* window_ = nullptr;  // on loan
    TexturePixelFormat pixelFormat_ = TexturePixelFormat::Bgra;
    bool lightingWanted_ = false;
    bool finishFrames_ = false;
    bool lost_ = false;
    int skyWidth_ = 0, skyHeight_ = 0;
    bool skyMirrored_ = false;

private:
    RenderWindow* lostWindow_ = nullptr;  // on loan; where Rebuild failed
    FILEPATH screenShotPath_;
    std::function<PictureTexts()> screenShotTexts_;
    bool screenShotWanted_ = false;
    std::optional<Status> screenShotResult_;
    std::string name_;
    int descriptionNumber_;
    std::string libraries_;
    RenderMesh scratchMesh_;
    RenderMeshBatch scratchBatch_{&scratchMesh_};
    std::array<float, 2> pixelScales_{};
    int scaleWidth_ = 0, scaleHeight_ = 0, scaleQuality_ = 0;
};

/// The back ends that a program offers, in order: a value of the program, filled at start.
/// An entry is a prototype; each view gets an instance of its own by CreateInstance.
class GraphicsSystemRegistry {
public:
    static constexpr int kDirect3D = 0, kOpenGL3 = 1, kOpenGL = 2, kEntries = 4;
    /// Keeps the first system offered for an entry.
    void Register(int entry, std::unique_ptr<GraphicsSystem> prototype);
    /// Asks each prototype, in order; "no opinion" loads the libraries of its list to find out.
    void FindAvailable();
    [[nodiscard]] bool Available(int entry) const;
    [[nodiscard]] GraphicsSystem* At(int entry) const;
    /// @param name  compared without regard to case; @return it if available, else the first
    /// available
    [[nodiscard]] GraphicsSystem* Choose(const std::string& name) const;
    [[nodiscard]] int CountAvailable() const;
    /// Whether a start lets the user choose: where there is a choice, and the user wants to be
    /// asked or the last run didn't end cleanly.
    [[nodiscard]] bool MustAsk(bool askWanted, bool endedCleanly) const;
    /// Opens the chosen system, or else the first of the others that opens, in order.
    /// @param open    opens a system where it is to draw
    /// @param failed  out: what came of the chosen one
    /// @return the system that opened; the chosen one, closed, if none did
    [[nodiscard]] GraphicsSystem* OpenOne(GraphicsSystem& chosen,
                                          const std::function<Status(GraphicsSystem&)>& open,
                                          Status& failed) const;

private:
    std::array<std::unique_ptr<GraphicsSystem>, kEntries> prototypes_;
    std::array<bool, kEntries> available_{};
};

}  // namespace tarnvale
