#include "terrain/qtselect.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace tarnvale {
namespace {

/// The level at which a node just split becomes what its parent was, and on which it leaves its
/// parent's for its own while it grows towards its own split.
double MorphLevel(float parentLambda, float parentRadius, float lambda, float radius) {
    constexpr double split = NodeSelector::kSplitRadius;
    if (parentRadius <= -1.0F || parentLambda <= -1.0F) return lambda;
    const double a = split / static_cast<double>(parentRadius);
    if (a >= 1.0) return lambda;
    const double b = static_cast<double>(radius) / split;
    if (b >= 1.0) return lambda;
    const double w = 1.0 / ((1.0 - b) / (1.0 - a) + 1.0);
    return (1.0 - w) * static_cast<double>(parentLambda) + w * static_cast<double>(lambda);
}

/// Where between two steps the error `allowed` lies.
float LevelOfError(const float* errors, int levelNumber, float scale, float allowed) {
    if (errors[0] * scale > allowed) return 0.0F;
    for (int i = 1; i <= levelNumber; ++i) {
        const float error = errors[i] * scale;
        if (!(error >= allowed)) continue;
        const float before = errors[i - 1] * scale;
        return static_cast<float>(i - 1) + (allowed - before) / (error - before);
    }
    return static_cast<float>(levelNumber);
}

}  // namespace

void NodeSelector::Clear() noexcept {
    found_.clear();
    selection_.clear();
    plans_.clear();
}

void NodeSelector::Select(const QuadtreeHierarchy& hierarchy, const SelectionView& view,
                          const ViewPyramid& pyramid, NodeLevelMap& levels) {
    Clear();
    levels.Clear();
    view_ = &view;
    pyramid_ = &pyramid;
    levels_ = &levels;
    const QuadtreeLevel& coarsest = hierarchy.Coarsest();
    for (int row = 0; row < coarsest.Rows(); ++row) {
        for (int column = 0; column < coarsest.Columns(); ++column) {
            Visit(coarsest, column, row, -1.0F, -1.0F);
        }
    }
    Sort();
    Plan(hierarchy);
}

void NodeSelector::Visit(const QuadtreeLevel& level, int column, int row, float parentLambda,
                         float parentRadius) {
    const std::uint32_t index = level.IndexOf(column, row);
    if (Culled(level, column, row, index)) return;
    const Measure own = MeasureNode(level, column, row, index);
    if (own.radius > kSplitRadius && level.Finer() != nullptr) {
        const QuadtreeLevel& finer = *level.Finer();
        Visit(finer, 2 * column, 2 * row, own.lambda, own.radius);
        Visit(finer, 2 * column + 1, 2 * row, own.lambda, own.radius);
        Visit(finer, 2 * column + 1, 2 * row + 1, own.lambda, own.radius);
        Visit(finer, 2 * column, 2 * row + 1, own.lambda, own.radius);
        return;
    }
    SelectedNode node;
    node.level = level.Number();
    node.index = index;
    node.key = static_cast<float>(MorphLevel(parentLambda, parentRadius, own.lambda, own.radius));
    if (!(node.key >= 0)) node.key = 0;
    // The key itself counts, as rounded to 32 bits, and a node has no step beyond its own side:
    // there the fraction goes up to 1 instead.
    node.step = std::clamp(static_cast<int>(std::floor(node.key)), 0, node.level);
    node.fraction = std::clamp(node.key - static_cast<float>(node.step), 0.0F, 1.0F);
    node.radius = own.radius;
    node.lambda = own.lambda;
    found_.push_back(node);
    levels_->Fill(column * level.MapSpan(), row * level.MapSpan(), level.MapSpan(),
                  static_cast<std::uint8_t>(node.step));
}

bool NodeSelector::Culled(const QuadtreeLevel& level, int column, int row,
                          std::uint32_t index) const {
    const float low = level.Minimum()[index];
    const float high = level.Maximum()[index];
    if (low > high) return true;
    const int side = level.NodeSide();
    const int x0 = column * side;
    const int y0 = row * side;
    const int x1 = x0 + side;
    const int y1 = y0 + side;
    const bool wanted = std::ranges::any_of(view_->regions, [&](const IntRect& region) {
        return x1 >= region.x0 && x0 <= region.x1 && y1 >= region.y0 && y0 <= region.y1;
    });
    if (!wanted) return true;
    const float scale = view_->verticalScale;
    const auto seenAt = [&](float offset) {
        const float bottom = (low + offset) * scale;
        const float top = (high + offset) * scale;
        const Vec3f centre = {static_cast<float>(x0 + x1) * 0.5F * view_->cellWidth,
                              -(static_cast<float>(y0 + y1) * 0.5F * view_->cellHeight),
                              (top + bottom) * 0.5F};
        const Vec3f surface = {static_cast<float>(x0) * view_->cellWidth,
                               -(static_cast<float>(y0) * view_->cellHeight), bottom};
        const Vec3f radius = surface - centre;
        return pyramid_->TouchesSphere(centre, Dot(radius, radius));
    };
    if (view_->offsets.empty()) return !seenAt(0.0F);
    return std::ranges::none_of(view_->offsets, seenAt);
}

NodeSelector::Measure NodeSelector::MeasureNode(const QuadtreeLevel& level, int column, int row,
                                                std::uint32_t index) const {
    const float scale = view_->verticalScale;
    const float low = level.Minimum()[index] * scale;
    const float high = level.Maximum()[index] * scale;
    const int half = level.NodeSide() >> 1;
    const int x = column * level.NodeSide() + half;
    const int y = row * level.NodeSide() + half;
    const auto toWorld = [this](int gridX, int gridY, float z) {
        return Vec3f{static_cast<float>(gridX) * view_->cellWidth,
                     -(static_cast<float>(gridY) * view_->cellHeight), z};
    };
    const Vec3f centre = toWorld(x, y, (low + high) * 0.5F);
    const Vec3f corner = toWorld(x + half, y + half, high);
    const Vec3f above = {centre.x, centre.y, centre.z + 1.0F};
    const Vec3f toEye = view_->eye - centre;
    const Vec3f toAbove = above - centre;
    const float distance = Length(toEye);
    const float height = Length(toAbove);
    const float cosine =
        distance == 0.0F || height == 0.0F ? 1.0F : Dot(toEye, toAbove) / (distance * height);
    const float pixelsPerUnit = view_->viewportHeight / (distance * view_->fieldOfView);

    Measure measure;
    measure.radius = Length(corner - centre) * pixelsPerUnit;
    measure.lambda = static_cast<float>(level.Number());
    const float pixelsPerHeight = std::sqrt(1.0F - cosine * cosine) * pixelsPerUnit;
    if (pixelsPerHeight >= 1e-6F) {
        measure.lambda = LevelOfError(level.Errors(index), level.Number(), scale,
                                      view_->pixelTolerance / pixelsPerHeight);
    }
    return measure;
}

void NodeSelector::Sort() {
    // One number for each node, the smallest to be drawn first: bits of a float that isn't negative
    // sort as the float does.
    order_.clear();
    for (std::uint32_t i = 0; i < found_.size(); ++i) {
        const auto key = std::bit_cast<std::uint32_t>(std::max(found_[i].key, 0.0F));
        order_.push_back(std::uint64_t{~key} << 32 | static_cast<std::uint32_t>(~i));
    }
    std::ranges::sort(order_);
    for (const std::uint64_t packed : order_) {
        selection_.push_back(found_[~static_cast<std::uint32_t>(packed)]);
    }
}

void NodeSelector::Plan(const QuadtreeHierarchy& hierarchy) {
    for (const SelectedNode& node : selection_) {
        const QuadNode place = hierarchy.Node(node.level, node.index);
        const IntRect square = place.Rectangle();
        NodePlan& plan = plans_.emplace_back();
        plan.x0 = square.x0;
        plan.y0 = square.y0;
        plan.level = node.level;
        plan.step = node.step;
        plan.quadrant = place.Quadrant();
        plan.fraction = node.fraction;
        const int span = place.Level()->MapSpan();
        const int x = place.Column() * span;
        const int y = place.Row() * span;
        const auto stepOf = [](int level) {
            return level < 0 ? NodePlan::kNoNeighbour : 1 << level;
        };
        plan.neighbourStep[NodePlan::kTop] = stepOf(levels_->SmallestInRow(x, y - 1, span));
        plan.neighbourStep[NodePlan::kRight] = stepOf(levels_->SmallestInColumn(x + span, y, span));
        plan.neighbourStep[NodePlan::kLeft] = stepOf(levels_->SmallestInColumn(x - 1, y, span));
        plan.neighbourStep[NodePlan::kBottom] = stepOf(levels_->SmallestInRow(x, y + span, span));
    }
}

}  // namespace tarnvale
