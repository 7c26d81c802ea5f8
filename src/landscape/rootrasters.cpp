#include "landscape/rootrasters.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <bit>

#include "landscape/texturedomain.h"

namespace tarnvale {

namespace {

bool IsPowerOfTwo(int value) {
    return value > 0 && std::has_single_bit(static_cast<std::uint32_t>(value));
}

// Explanations take longer than decisions, so they are made only for who asks.
template <typename... Parts>
bool Explain(bool fits, QNSTRING* why, fmt::format_string<const Parts&...> form,
             const Parts&... parts) {
    if (why != nullptr) *why = fmt::format(form, parts...);
    return fits;
}

bool FitsBySizes(const ZPF::RasterHeader& grid, const ZPF::RasterHeader& image, QNSTRING* why) {
    const long long across = grid.columns - 1, down = grid.rows - 1;
    if (across > 0 && down > 0) {
        for (int k = 0; (across << k) <= image.columns; ++k) {
            if ((across << k) == image.columns && (down << k) == image.rows) {
                return Explain(true, why, "{} pixels for each grid cell", 1 << k);
            }
        }
    }
    return Explain(false, why, "{} x {} pixels aren't {} x {} grid cells times a power of two",
                   image.columns, image.rows, across, down);
}

bool FitsInDomain(const TextureDomain& domain, const ZPF::RasterHeader& image, QNSTRING* why) {
    const auto [x0, x1, y0, y1] = std::array{domain.x0, domain.x1, domain.y0, domain.y1};
    const bool powers = IsPowerOfTwo(x1 - x0) && IsPowerOfTwo(y1 - y0);
    const bool inside = x0 < 1 && image.columns <= x1 && y0 < 1 && image.rows <= y1;
    if (why != nullptr) {
        *why = fmt::format("the terrain spans pixels {} to {} by {} to {} of it", x0, x1, y0, y1);
        if (!powers) {
            *why += ", which aren't powers of two";
        } else if (!inside) {
            *why += fmt::format(", but its {} x {} pixels reach beyond", image.columns, image.rows);
        }
    }
    return powers && inside;
}

}  // namespace

Status RootRasters::Refuse(const char* what, int most) const {
    return _SetErrPosn(StatusCode::FileRefused, fmt::format("{}: more than {} {}; split the file",
                                                            path_.string(), most, what));
}

Status RootRasters::Read(const ZPF::FILEHANDLE& file) {
    *this = {};
    path_ = file.GetFilePath();
    RootRasters read;
    read.path_ = path_;
    std::int64_t iterator = 0;
    int seen = 0;
    for (int number = kNoObject;
         file.GetNextInodeNum(iterator, kRootObject, ObjectType::Raster, number);) {
        if (++seen > kMostRasters) return Refuse("rasters at its root", kMostRasters);
        if (const Status status = read.ReadOne(file, number); !status.Good()) return status;
    }
    const auto dems = std::ranges::count(read.rasters_, true, &RootRaster::elevation);
    const auto textures = std::ranges::count(read.rasters_, true, &RootRaster::texture);
    if (dems * textures > kMostPairs) {
        return Refuse("pairs of an elevation raster and a texture", kMostPairs);
    }
    *this = std::move(read);
    return StatusCode::Ok;
}

Status RootRasters::ReadOne(const ZPF::FILEHANDLE& file, int number) {
    ZPF::RASTERHANDLE raster;
    if (!raster.Open(file, number).Good()) return StatusCode::Ok;
    RootRaster read;
    read.number = number;
    read.header = raster.Header();
    read.elevation = IsElevationType(read.header.type);
    read.texture = IsTextureCandidate(file, number, read.header.type);
    if (read.elevation || read.texture) {
        COORDREFSYS system;
        const Status placed = raster.GetGeoreference(read.place, system);
        if (placed.Code() == StatusCode::FileRefused) return placed;
        if (placed.Good()) {
            const auto known = std::ranges::find(systems_, system.Wkt(), &COORDREFSYS::Wkt);
            read.system = static_cast<int>(known - systems_.begin());
            if (known == systems_.end()) systems_.push_back(std::move(system));
        }
    }
    rasters_.push_back(read);
    return StatusCode::Ok;
}

Status RootRasters::FindLink(int from, int to, const TransGen*& link) {
    const auto [place, isNew] = links_.try_emplace({from, to});
    if (isNew) {
        const auto unlike = std::ranges::count_if(
            links_, [](const auto& entry) { return entry.first.first != entry.first.second; });
        if (unlike > kMostLinks) {
            links_.erase(place);
            return Refuse("pairs of unlike coordinate reference systems", kMostLinks);
        }
        TransGen made;
        if (TransGenInit(made, {0, 1, 0, 0, 0, 1}, systems_[static_cast<std::size_t>(from)])
                .Good() &&
            TransGenSetOutputMapCoordRefSys(made, systems_[static_cast<std::size_t>(to)]).Good()) {
            place->second = std::move(made);
        }
    }
    link = place->second.has_value() ? &*place->second : nullptr;
    return StatusCode::Ok;
}

Status RootRasters::TextureFits(const RootRaster& dem, const RootRaster& texture, bool& fits,
                                QNSTRING* why) {
    const TransGen* link = nullptr;
    if (dem.system >= 0 && texture.system >= 0 && IsPowerOfTwo(dem.header.columns - 1) &&
        IsPowerOfTwo(dem.header.rows - 1)) {
        if (const Status found = FindLink(dem.system, texture.system, link); !found.Good())
            return found;
    }
    // The systems stand in the link, so that the grids at its ends need none.
    TransGen grid, pixels;
    if (link == nullptr || !TransGenInit(grid, dem.place, {}).Good() ||
        !TransGenInit(pixels, texture.place, {}).Good()) {
        fits = FitsBySizes(dem.header, texture.header, why);
        return StatusCode::Ok;
    }
    TextureDomain domain;
    const auto convert = [&](double& x, double& y) {
        return TransGenConvPointFwd(grid, x, y).Good() &&
               TransGenConvPointFwd(*link, x, y).Good() &&
               TransGenConvPointInv(pixels, x, y).Good();
    };
    const Status placed = DomainOf(convert, dem.header.columns, dem.header.rows,
                                   texture.header.columns, texture.header.rows, domain);
    fits = placed.Good() ? FitsInDomain(domain, texture.header, why)
                         : Explain(false, why, "{}", GetErrPosn().detail);
    return StatusCode::Ok;
}

bool IsElevationType(ZPF::RasterType type) {
    using enum ZPF::RasterType;
    constexpr std::array kTypes{Unsigned8, Unsigned16, Unsigned32, Signed8,
                                Signed16,  Signed32,   Float32,    Float64};
    return std::ranges::find(kTypes, type) != kTypes.end();
}

bool IsTextureCandidate(const ZPF::FILEHANDLE& file, int number, ZPF::RasterType type) {
    using enum ZPF::RasterType;
    switch (type) {
        case Composite16A:
        case Composite16B:
        case Composite24A:
        case Composite24B:
            return true;
        case Unsigned8:
            return file.GetObjectCount(number, ObjectType::ColorMap) > 0;
        default:
            return false;
    }
}

}  // namespace tarnvale
