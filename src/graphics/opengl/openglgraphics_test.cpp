#include "graphics/opengl/openglgraphics.h"

#include <gtest/gtest.h>

#include "graphics/drawing_for_test.h"

namespace tarnvale {
namespace {

TEST(OpenGLGraphics, AReplayDrawsTheCapturedFrame) {
    ViewUnderTest view(DrawingKinds().front(), 256, 256);
    auto& system = dynamic_cast<OpenGLGraphicsSystem&>(view.system);
    RandomScene scene(view, 99);
    EXPECT_EQ(system.ReplayCaptured(1), 0.0);
    system.CaptureNextFrame();
    view.Begin();
    scene.Draw(view.system);
    view.End();
    const std::vector<std::byte> frame = view.picture;
    view.Begin();
    view.End();
    EXPECT_NE(view.picture, frame);
    EXPECT_GT(system.ReplayCaptured(2), 0.0);
    ASSERT_TRUE(view.window.ReadPicture(view.picture).Good());
    EXPECT_EQ(view.picture, frame);
}

}  // namespace
}  // namespace tarnvale
