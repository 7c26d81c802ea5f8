#include "landscape/simfile.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
#include <system_error>
#include <utility>

#include "base/places.h"
#include "base/textres.h"
#include "landscape/rootrasters.h"
#include "zpf/zpfraster.h"

namespace tarnvale {

namespace {

constexpr int kSettingsUsage = 16;
constexpr int kWidestSky = 2048;
constexpr std::size_t kMostSkies = 1024;
constexpr const char* kSkyFile = "Tarnvale.sky";

std::vector<int> ChildrenOf(const ZPF::FILEHANDLE& file, int parent, ObjectType type) {
    std::vector<int> numbers;
    std::int64_t iterator = 0;
    for (int number = kNoObject; file.GetNextInodeNum(iterator, parent, type, number);) {
        numbers.push_back(number);
    }
    return numbers;
}

/// Objects of a type at the root and in every folder, in file order. Each folder is looked at once:
/// in a file that opens, parents stand before their children.
std::vector<int> AllOf(const ZPF::FILEHANDLE& file, ObjectType type) {
    std::vector<int> found;
    std::vector<int> folders{kRootObject};
    for (std::size_t next = 0; next < folders.size(); ++next) {
        const std::vector<int> here = ChildrenOf(file, folders[next], type);
        found.insert(found.end(), here.begin(), here.end());
        const std::vector<int> below = ChildrenOf(file, folders[next], ObjectType::Folder);
        folders.insert(folders.end(), below.begin(), below.end());
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

/// Adds the rasters under `parent` that open and have at most `widest` columns, as one list.
/// @param room  in, out: how many more are looked at in this file
/// @return false where there are more than that
bool AddSkies(const ZPF::FILEHANDLE& file, int parent, int widest, std::size_t& room,
              QNLIST<SimSkyEntry>& skies) {
    SimSkyEntry entry;
    std::vector<int> rasters = ChildrenOf(file, parent, ObjectType::Raster);
    const bool all = rasters.size() <= room;
    if (!all) rasters.resize(room);
    room -= rasters.size();
    for (const int number : rasters) {
        ZPF::RASTERHANDLE raster;
        ZPFObjectItem item;
        if (raster.Open(file, number).Good() && raster.Header().columns <= widest &&
            file.GetItem(number, item).Good()) {
            entry.rasters.push_back(std::move(item));
        }
    }
    if (!entry.rasters.empty()) skies.push_back(std::move(entry));
    return all;
}

/// The landscape's own skies, in its folders of that name.
/// @return what is wrong with them, or empty
QNSTRING AddOwnSkies(const ZPF::FILEHANDLE& file, QNLIST<SimSkyEntry>& skies) {
    bool all = true;
    std::size_t room = kMostSkies;
    for (const int folder : ChildrenOf(file, kRootObject, ObjectType::Folder)) {
        ZPFObjectHeader header;
        if (file.ReadObjectHeader(folder, header).Good() && IsSkyName(header.name))
            all = AddSkies(file, folder, kWidestSky, room, skies) && all;
    }
    if (all) return {};
    return fmt::format("{} has more than {} skies; the others are left out",
                       file.GetFilePath().string(), kMostSkies);
}

/// The skies of a file of them. @return what is wrong with it, or empty
QNSTRING AddReferenceSkies(const FILEPATH& path, QNLIST<SimSkyEntry>& skies) {
    ZPF::FILEHANDLE file;
    if (!file.Open(path, ZPF::OpenMode::Read).Good()) {
        return path.string() +
               " can't be read, so that its skies are left out: make the file anew with "
               "tarnvale-build --sky-file, or install the program again";
    }
    std::size_t room = kMostSkies;
    const std::size_t before = skies.size();
    if (!AddSkies(file, kRootObject, ZPF::kMaximumSide, room, skies)) {
        return fmt::format("{} has more than {} skies; the others are left out", path.string(),
                           kMostSkies);
    }
    if (skies.size() > before) return {};
    return path.string() + " holds no sky: make the file anew with tarnvale-build --sky-file";
}

/// The reference file of skies; empty if there is none. The environment variable
/// TARNVALE_SKY_FILE names another one; else it lies among the program's resources, or beside the
/// program where that was built but not installed.
FILEPATH FindSkyFile() {
    std::error_code failed;
    if (const char* own = std::getenv("TARNVALE_SKY_FILE"); own != nullptr) {
        return std::filesystem::is_regular_file(own, failed) ? FILEPATH(own) : FILEPATH();
    }
    for (const FILEPATH& folder : {FILEPATH(TEXTRES::ResourceFolder()), ProgramFolder()}) {
        if (folder.empty()) continue;
        FILEPATH path = folder / kSkyFile;
        if (std::filesystem::is_regular_file(path, failed)) return path;
    }
    return {};
}

Status FindTerrains(const ZPF::FILEHANDLE& file, QNLIST<SimTerrainEntry>& terrains) {
    RootRasters rasters;
    if (const Status read = rasters.Read(file); !read.Good()) return read;
    for (const RootRaster& dem : rasters.All()) {
        SimTerrainEntry entry;
        if (!dem.elevation || !file.GetItem(dem.number, entry.dem).Good()) continue;
        for (const RootRaster& texture : rasters.All()) {
            if (!texture.texture) continue;
            bool fits = false;
            if (const Status tried = rasters.TextureFits(dem, texture, fits, nullptr);
                !tried.Good()) {
                return tried;
            }
            ZPFObjectItem item;
            if (fits && file.GetItem(texture.number, item).Good())
                entry.textures.push_back(std::move(item));
        }
        if (!entry.textures.empty()) terrains.push_back(std::move(entry));
    }
    return StatusCode::Ok;
}

}  // namespace

Status SimulatorFile::Read(const FILEPATH& path) {
    ZPF::FILEHANDLE file;
    if (const Status opened = file.Open(path, ZPF::OpenMode::Read); !opened.Good()) return opened;

    SimulatorFile read;
    read.path_ = path;
    read.skyProblem_ = AddOwnSkies(file, read.skies_);
    if (const FILEPATH reference = FindSkyFile(); !reference.empty()) {
        const QNSTRING problem = AddReferenceSkies(reference, read.skies_);
        if (read.skyProblem_.empty()) read.skyProblem_ = problem;
    }
    if (const Status found = FindTerrains(file, read.terrains_); !found.Good()) return found;
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
