#include "terrain/errortables.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <bit>
#include <cstdint>
#include <limits>
#include <new>

#include "base/textres.h"
#include "terrain/workers.h"

namespace tarnvale {
namespace {

constexpr float kFirstStepFactor = 0.33F;
constexpr float kGrowthFactor = 1.0F;
constexpr float kGrowthBias = 1.0F;

constexpr float kLowest = std::numeric_limits<float>::lowest();
constexpr int kLeafSide = 1 << QuadtreeLevel::kFinest;
constexpr int kNoneHigh = std::numeric_limits<int>::min();
constexpr int kNoneLow = std::numeric_limits<int>::max();

/// Samples that a node of a level has at all its steps together, by which progress is counted.
std::uint64_t SamplesPerNode(int number) {
    return ((std::uint64_t{1} << (2 * number + 2)) - 1) / 3 - 2 +
           (std::uint64_t{1} << (number + 2)) + static_cast<std::uint64_t>(number);
}

/// Pulses at even intervals of the samples done.
class SamplePulse {
public:
    SamplePulse(const QuadtreeHierarchy& hierarchy, Progress* progress) : progress_(progress) {
        std::uint64_t total = 0;
        for (const QuadtreeLevel& level : hierarchy.Levels()) {
            total += SamplesPerNode(level.Number()) * level.NodeCount();
        }
        interval_ = total / 65535 + 1;
        if (progress_ != nullptr) {
            const std::uint64_t pulses = total / interval_;
            progress_->Begin(TEXTRES::Text("preparing_terrain"), static_cast<double>(pulses), 1.0);
        }
    }
    ~SamplePulse() {
        if (progress_ != nullptr) progress_->End();
    }
    SamplePulse(const SamplePulse&) = delete;
    SamplePulse& operator=(const SamplePulse&) = delete;

    /// Any thread.
    void Add(std::uint64_t samples) noexcept {
        done_.fetch_add(samples, std::memory_order_relaxed);
    }
    /// The thread that may call the progress. @return false once the user wants to stop
    [[nodiscard]] bool Show() {
        if (progress_ == nullptr) return true;
        for (const std::uint64_t due = done_.load() / interval_; shown_ < due; ++shown_) {
            progress_->Pulse();
        }
        return !progress_->Cancelled();
    }

private:
    Progress* progress_;
    std::uint64_t interval_ = 1;
    std::uint64_t shown_ = 0;
    std::atomic<std::uint64_t> done_ = 0;
};

template <bool kHasNull>
struct SampleOf {
    std::int16_t null = 0;
    [[nodiscard]] int High(std::int16_t value) const {
        return kHasNull && value == null ? kNoneHigh : value;
    }
    [[nodiscard]] int Low(std::int16_t value) const {
        return kHasNull && value == null ? kNoneLow : value;
    }
};

/// Highest of each step's samples, and the lowest, of one row of finest nodes.
template <bool kHasNull>
void ScanLeafRow(const ElevationGrid& elevations, QuadtreeLevel& level, int nodeRow) {
    const ElevationGrid::Decimated& grid = elevations.AtStep(0);
    const SampleOf<kHasNull> sample{elevations.NullMark()};
    const std::int16_t* corner =
        grid.samples + static_cast<std::ptrdiff_t>(nodeRow) * kLeafSide * grid.pitch;
    for (int column = 0; column < level.Columns(); ++column, corner += kLeafSide) {
        std::array<int, QuadtreeLevel::kFinest + 1> highest;
        highest.fill(kNoneHigh);
        int low = kNoneLow;
        for (int j = 0; j <= kLeafSide; ++j) {
            const std::int16_t* row = corner + j * grid.pitch;
            const int at8 = std::max(sample.High(row[0]), sample.High(row[8]));
            const int at4 = std::max(at8, sample.High(row[4]));
            const int at2 = std::max({at4, sample.High(row[2]), sample.High(row[6])});
            const int at1 = std::max({at2, sample.High(row[1]), sample.High(row[3]),
                                      sample.High(row[5]), sample.High(row[7])});
            for (int i = 0; i <= kLeafSide; ++i) low = std::min(low, sample.Low(row[i]));
            const std::array<int, 4> ofRow = {at1, at2, at4, at8};
            const int steps = std::min(std::countr_zero(static_cast<unsigned>(j | kLeafSide)), 3);
            for (int k = 0; k <= steps; ++k) {
                auto& entry = highest[static_cast<std::size_t>(k)];
                entry = std::max(entry, ofRow[static_cast<std::size_t>(k)]);
            }
        }
        const std::uint32_t index = level.IndexOf(column, nodeRow);
        float* table = level.Errors(index);
        for (std::size_t k = 0; k < highest.size(); ++k) {
            table[k] = highest[k] == kNoneHigh ? kLowest : static_cast<float>(highest[k]);
        }
        if (low == kNoneLow) continue;
        level.Minimum()[index] = static_cast<float>(low);
        level.Maximum()[index] = table[0];
    }
}

/// The same of one row of a coarser level. A node's samples at a step are its children's at that
/// step, as long as the step isn't longer than a child; beyond that only the node's corners are
/// left.
void GatherRow(const ElevationGrid& elevations, const QuadtreeLevel& children, QuadtreeLevel& level,
               int nodeRow) {
    const ElevationGrid::Decimated& corners = elevations.AtStep(level.Number());
    const std::size_t shared = children.ErrorCount();
    for (int column = 0; column < level.Columns(); ++column) {
        const std::uint32_t index = level.IndexOf(column, nodeRow);
        float* table = level.Errors(index);
        float& low = level.Minimum()[index];
        for (int k = 0; k < 4; ++k) {
            const std::uint32_t child = children.IndexOf(2 * column + k % 2, 2 * nodeRow + k / 2);
            const float* highest = children.Errors(child);
            for (std::size_t i = 0; i < shared; ++i) table[i] = std::max(table[i], highest[i]);
            low = std::min(low, children.Minimum()[child]);
            const std::int16_t corner =
                corners.samples[(nodeRow + k / 2) * corners.pitch + column + k % 2];
            if (elevations.HasNull() && corner == elevations.NullMark()) continue;
            table[shared] = std::max(table[shared], static_cast<float>(corner));
        }
        level.Maximum()[index] = table[0];
    }
}

}  // namespace

void HighestToErrors(float* table, int count) noexcept {
    for (int k = 1; k < count; ++k) table[k] = table[0] - table[k];
    if (table[1] <= 0.0F) table[1] = 1.0F;
    table[0] = table[1] * kFirstStepFactor;
    for (int k = 2; k < count; ++k) {
        const float grown =
            (table[k - 1] - table[k - 2]) * kGrowthFactor + table[k - 1] + kGrowthBias;
        table[k] = grown < table[k] ? table[k] : grown;
    }
}

Status FillErrorTables(const ElevationGrid& elevations, QuadtreeHierarchy& hierarchy,
                       Progress* progress) try {
    SamplePulse pulse(hierarchy, progress);
    const auto tick = [&pulse] { return pulse.Show(); };
    const std::span<QuadtreeLevel> levels = hierarchy.Levels();
    for (std::size_t i = 0; i < levels.size(); ++i) {
        QuadtreeLevel& level = levels[i];
        const auto fillRow = [&](int row) {
            if (i > 0) {
                GatherRow(elevations, levels[i - 1], level, row);
            } else if (elevations.HasNull()) {
                ScanLeafRow<true>(elevations, level, row);
            } else {
                ScanLeafRow<false>(elevations, level, row);
            }
            pulse.Add(SamplesPerNode(level.Number()) * static_cast<std::uint64_t>(level.Columns()));
        };
        if (!RunOnAllCores(level.Rows(), fillRow, tick)) return _SetErrPosn(StatusCode::Cancelled);
    }
    for (QuadtreeLevel& level : levels) {
        for (std::uint32_t node = 0; node < level.NodeCount(); ++node) {
            HighestToErrors(level.Errors(node), static_cast<int>(level.ErrorCount()));
        }
    }
    return pulse.Show() ? Status(StatusCode::Ok) : _SetErrPosn(StatusCode::Cancelled);
} catch (const std::bad_alloc&) {
    return _SetErrPosn(StatusCode::NoMemory);
}

}  // namespace tarnvale
