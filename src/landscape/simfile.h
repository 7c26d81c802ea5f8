#pragma once

#include <vector>

#include "base/status.h"
#include "zpf/zpffile.h"

namespace tarnvale {

struct SimTerrainEntry {
    ZPFObjectItem dem;
    QNLIST<ZPFObjectItem> textures;
};
struct SimSkyEntry {
    QNLIST<ZPFObjectItem> rasters;
};

/// What a landscape file holds, found by object type. Reading copies nothing but names.
class SimulatorFile {
public:
    /// @return 0; the store's error if the file can't be opened; FileRefused where it holds more
    ///         terrains than any landscape would (see RootRasters); NoLandscape if no terrain has a
    ///         fitting texture (the terrain list is then empty)
    Status Read(const FILEPATH& path);

    [[nodiscard]] bool Valid() const noexcept { return valid_; }
    [[nodiscard]] const FILEPATH& Path() const noexcept { return path_; }
    [[nodiscard]] const QNLIST<SimTerrainEntry>& Terrains() const noexcept { return terrains_; }
    [[nodiscard]] const QNLIST<SimSkyEntry>& Skies() const noexcept { return skies_; }
    /// One line that tells which skies are left out and what to do about it; empty if all are
    /// there.
    [[nodiscard]] const QNSTRING& SkyProblem() const noexcept { return skyProblem_; }
    [[nodiscard]] const ZPFObjectItem& Settings() const noexcept { return settings_; }
    [[nodiscard]] const QNLIST<ZPFObjectItem>& Vectors() const noexcept { return vectors_; }
    [[nodiscard]] const QNLIST<ZPFObjectItem>& Texts() const noexcept { return texts_; }

private:
    FILEPATH path_;
    bool valid_ = false;
    ZPFObjectItem settings_;
    QNLIST<ZPFObjectItem> vectors_;
    QNLIST<SimTerrainEntry> terrains_;
    QNLIST<SimSkyEntry> skies_;
    QNSTRING skyProblem_;
    QNLIST<ZPFObjectItem> texts_;
};

}  // namespace tarnvale
