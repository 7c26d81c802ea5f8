#include "landscape/simfile.h"

#include <algorithm>
#include <system_error>
#include <utility>

#include "base/places.h"
#include "base/textres.h"
#include "landscape/texturedomain.h"
#include "zpf/zpfraster.h"

namespace tarnvale {

namespace {

constexpr int kSettingsUsage = 16;
constexpr int kWidestSky = 2048;
constexpr const char* kSkyFile = "Tarnvale.sky";

std::vector<int> ChildrenOf(const ZPF::FILEHANDLE& file, int parent, ObjectType type) {
    std::vector<int> numbers;
    std::int64_t iterator = 0;
    for (int number = kNoObject; file.GetNextInodeNum(iterator, parent, type, number);) {
        numbers.push_back(number);
    }
    return numbers;
}

/// Objects of a type at the root and in every folder, in file order.
std::vector<int> AllOf(const ZPF::FILEHANDLE& file, ObjectType type) {
    std::vector<int> found;
    std::vector<int> folders{kRootObject};
    for (std::size_t next = 0; next < folders.size(); ++next) {
        const std::vector<int> here = ChildrenOf(file, folders[next], type);
        found.insert(found.end(), here.begin(), here.end());
        for (const int folder : ChildrenOf(file, folders[next], ObjectType::Folder)) {
            // A damaged tree may hold a circle.
            if (std::ranges::find(folders, folder) == folders.end()) folders.push_back(folder);
        }
    }
    std::ranges::sort(found);
    return found;
}

QNLIST<ZPFObjectItem> ItemsOf(const ZPF::FILEHANDLE& file, ObjectType type) {
    QNLIST<ZPFObjectItem> items;
    for (const int number : AllOf(file, type)) {
        ZPFObjectItem item;
        if (file.GetItem(number, item).Good()) items.push_back(std::move(item));
    }
    return items;
}

bool IsSkyName(const QNSTRING& name) {
    return std::ranges::equal(name, std::string_view("sky"), [](char a, char b) {
        return (a >= 'A' && a <= 'Z' ? a - 'A' + 'a' : a) == b;
    });
}

/// Rasters under `parent` that open and have at most `widest` columns.
QNLIST<ZPFObjectItem> SkiesUnder(const ZPF::FILEHANDLE& file, int parent, int widest) {
    QNLIST<ZPFObjectItem> skies;
    for (const int number : ChildrenOf(file, parent, ObjectType::Raster)) {
        ZPF::RASTERHANDLE raster;
        ZPFObjectItem item;
        if (raster.Open(file, number).Good() && raster.Header().columns <= widest &&
            file.GetItem(number, item).Good()) {
            skies.push_back(std::move(item));
        }
    }
    return skies;
}

void AddSkies(QNLIST<ZPFObjectItem> rasters, QNLIST<SimSkyEntry>& skies) {
    if (!rasters.empty()) skies.push_back({std::move(rasters)});
}

/// The reference file of skies, beside the program or among its resources; empty if there is none.
FILEPATH FindSkyFile() {
    std::error_code failed;
    for (const FILEPATH& folder : {ProgramFolder(), FILEPATH(TEXTRES::ResourceFolder())}) {
        if (folder.empty()) continue;
        FILEPATH path = folder / kSkyFile;
        if (std::filesystem::is_regular_file(path, failed)) return path;
    }
    return {};
}

struct OpenRaster {
    int number = kNoObject;
    ZPF::RASTERHANDLE raster;
};

QNLIST<SimTerrainEntry> FindTerrains(const ZPF::FILEHANDLE& file) {
    std::vector<OpenRaster> dems;
    std::vector<OpenRaster> textures;
    for (const int number : ChildrenOf(file, kRootObject, ObjectType::Raster)) {
        ZPF::RASTERHANDLE raster;
        if (!raster.Open(file, number).Good()) continue;
        const ZPF::RasterType type = raster.Header().type;
        if (IsTextureCandidate(file, number, type)) {
            OpenRaster texture{number, {}};
            if (texture.raster.Open(file, number).Good()) textures.push_back(std::move(texture));
        }
        if (IsElevationType(type)) dems.push_back({number, std::move(raster)});
    }
    QNLIST<SimTerrainEntry> terrains;
    for (const OpenRaster& dem : dems) {
        SimTerrainEntry entry;
        if (!file.GetItem(dem.number, entry.dem).Good()) continue;
        for (const OpenRaster& texture : textures) {
            ZPFObjectItem item;
            if (TextureFits(dem.raster, texture.raster, nullptr) &&
                file.GetItem(texture.number, item).Good()) {
                entry.textures.push_back(std::move(item));
            }
        }
        if (!entry.textures.empty()) terrains.push_back(std::move(entry));
    }
    return terrains;
}

}  // namespace

Status SimulatorFile::Read(const FILEPATH& path) {
    ZPF::FILEHANDLE file;
    if (const Status opened = file.Open(path, ZPF::OpenMode::Read); !opened.Good()) return opened;

    SimulatorFile read;
    read.path_ = path;
    for (const int folder : ChildrenOf(file, kRootObject, ObjectType::Folder)) {
        ZPFObjectHeader header;
        if (file.ReadObjectHeader(folder, header).Good() && IsSkyName(header.name)) {
            AddSkies(SkiesUnder(file, folder, kWidestSky), read.skies_);
        }
    }
    if (const FILEPATH reference = FindSkyFile(); !reference.empty()) {
        ZPF::FILEHANDLE skies;
        if (skies.Open(reference, ZPF::OpenMode::Read).Good()) {
            AddSkies(SkiesUnder(skies, kRootObject, ZPF::kMaximumSide), read.skies_);
        }
    }
    read.terrains_ = FindTerrains(file);
    read.valid_ = !read.terrains_.empty();
    if (const int settings = file.FindDatabaseByTableUsage(kSettingsUsage); settings >= 0) {
        if (!file.GetItem(settings, read.settings_).Good()) read.settings_ = {};
    }
    read.vectors_ = ItemsOf(file, ObjectType::Vector);
    read.texts_ = ItemsOf(file, ObjectType::Text);
    *this = std::move(read);
    if (valid_) return StatusCode::Ok;
    return _SetErrPosn(StatusCode::NoLandscape,
                       path.string() +
                           " holds no elevation raster with a texture that fits it; see with "
                           "tarnvale-info what each raster lacks");
}

}  // namespace tarnvale
