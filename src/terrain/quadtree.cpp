#include "terrain/quadtree.h"

#include <limits>
#include <new>
#include <string>

namespace tarnvale {

int QuadNode::Column() const noexcept {
    return level_ == nullptr ? 0 : static_cast<int>(index_) % level_->Columns();
}

int QuadNode::Row() const noexcept {
    return level_ == nullptr ? 0 : static_cast<int>(index_) / level_->Columns();
}

int QuadNode::LevelNumber() const noexcept {
    return level_ == nullptr ? 0 : level_->Number();
}

int QuadNode::Side() const noexcept {
    return level_ == nullptr ? 0 : level_->NodeSide();
}

IntRect QuadNode::Rectangle() const noexcept {
    const int side = Side();
    const int x0 = side * Column();
    const int y0 = side * Row();
    return {x0, y0, x0 + side, y0 + side};
}

QuadNode QuadNode::Parent() const noexcept {
    if (level_ == nullptr || level_->Coarser() == nullptr) return {};
    return {level_->Coarser(), level_->Coarser()->IndexOf(Column() / 2, Row() / 2)};
}

QuadNode QuadNode::Child(int k) const noexcept {
    if (level_ == nullptr || level_->Finer() == nullptr) return {};
    const int right = k == 1 || k == 2 ? 1 : 0;
    const int down = k >= 2 ? 1 : 0;
    return {level_->Finer(), level_->Finer()->IndexOf(2 * Column() + right, 2 * Row() + down)};
}

int QuadNode::Quadrant() const noexcept {
    if (level_ == nullptr || level_->Coarser() == nullptr) return 0;
    const int right = Column() % 2;
    return Row() % 2 == 0 ? right : 3 - right;
}

float QuadNode::Error(int k) const noexcept {
    return level_ == nullptr ? 0.0F : level_->Errors(index_)[k];
}

float QuadNode::MinimumElevation() const noexcept {
    return level_ == nullptr ? 0.0F : level_->Minimum()[index_];
}

float QuadNode::MaximumElevation() const noexcept {
    return level_ == nullptr ? 0.0F : level_->Maximum()[index_];
}

QuadtreeLevel::QuadtreeLevel(int number, int columns, int rows)
    : number_(number),
      columns_(columns),
      rows_(rows),
      errors_(NodeCount() * ErrorCount(), std::numeric_limits<float>::lowest()),
      minimum_(NodeCount(), std::numeric_limits<float>::max()),
      maximum_(NodeCount(), std::numeric_limits<float>::lowest()) {}

QuadtreeShape QuadtreeShape::For(int columns, int rows) noexcept {
    const int width = columns - 1;
    const int height = rows - 1;
    int w = width;
    int h = height;
    int number = 0;
    while (w >= 3 && h >= 3 && static_cast<std::int64_t>(w) * h >= 65) {
        w = (w + 1) >> 1;
        h = (h + 1) >> 1;
        ++number;
    }
    if (width < 3 || number < QuadtreeLevel::kFinest) {
        w = width >> QuadtreeLevel::kFinest;
        h = height >> QuadtreeLevel::kFinest;
        number = QuadtreeLevel::kFinest;
    }
    return {.levels = number - QuadtreeLevel::kFinest + 1,
            .coarsestColumns = w,
            .coarsestRows = h,
            .paddedColumns = (w << number) + 1,
            .paddedRows = (h << number) + 1};
}

Status QuadtreeHierarchy::Build(int columns, int rows) try {
    levels_.clear();
    columns_ = columns;
    rows_ = rows;
    shape_ = QuadtreeShape::For(columns, rows);
    if (shape_.Empty()) {
        return _SetErrPosn(StatusCode::NotBuilt,
                           "the elevation raster has " + std::to_string(columns) + " x " +
                               std::to_string(rows) + " samples, give one of at least 9 x 9");
    }
    levels_.reserve(static_cast<std::size_t>(shape_.levels));
    for (int i = 0; i < shape_.levels; ++i) {
        const int finer = shape_.levels - 1 - i;
        levels_.emplace_back(QuadtreeLevel::kFinest + i, shape_.coarsestColumns << finer,
                             shape_.coarsestRows << finer);
    }
    for (std::size_t i = 1; i < levels_.size(); ++i) {
        levels_[i - 1].coarser_ = &levels_[i];
        levels_[i].finer_ = &levels_[i - 1];
    }
    return StatusCode::Ok;
} catch (const std::bad_alloc&) {
    levels_.clear();
    return _SetErrPosn(StatusCode::NoMemory);
}

QuadNode QuadtreeHierarchy::Node(int levelNumber, std::uint32_t index) const noexcept {
    const int at = levelNumber - QuadtreeLevel::kFinest;
    if (at < 0 || at >= shape_.levels || levels_.empty()) return {};
    const QuadtreeLevel& level = levels_[static_cast<std::size_t>(at)];
    return index < level.NodeCount() ? QuadNode(&level, index) : QuadNode();
}

}  // namespace tarnvale
