#pragma once

#include <memory>
#include <span>
#include <string>
#include <utility>

#include "terrain/terrainmodel.h"

namespace tarnvale {

/// Ground that is there and does nothing. Tests override what they look at.
class QuietTerrain : public TerrainModel {
public:
    QuietTerrain(std::string name, int columns, int rows)
        : TerrainModel(std::move(name), ""), columns_(columns), rows_(rows) {}
    [[nodiscard]] std::unique_ptr<TerrainModel> CreateInstance() const override { return nullptr; }
    Status Open(const ZPFObjectItem& /*dem*/) override { return StatusCode::Ok; }
    Status Draw(TerrainSink& /*sink*/, const IntRect& /*rectangle*/) override {
        return StatusCode::Ok;
    }
    void Close() override { open_ = false; }
    Status Update(const RenderCamera& /*camera*/, const ViewPyramid& /*pyramid*/, int /*width*/,
                  int /*height*/, std::span<const IntRect> /*regions*/) override {
        return StatusCode::Ok;
    }
    [[nodiscard]] int GetRows() const override { return rows_; }
    [[nodiscard]] int GetColumns() const override { return columns_; }
    [[nodiscard]] float GetElevation(int /*x*/, int /*y*/) const override { return 0; }
    [[nodiscard]] float GetDisplayHeight(float /*x*/, float /*y*/) override { return 0; }
    [[nodiscard]] float GetNorthAngle(float /*x*/, float /*y*/) const override { return 0; }

private:
    int columns_, rows_;
};

}  // namespace tarnvale
