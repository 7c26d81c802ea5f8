#include "landscape/atlas.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <new>
#include <string_view>
#include <system_error>
#include <utility>

#include "base/filetext.h"
#include "base/initext.h"
#include "base/valuetext.h"
#include "zpf/vectorhandle.h"

namespace tarnvale {

namespace {

constexpr const char* kSection = "Sedgelineatlas";
constexpr std::size_t kLongest = 1'000'000;  // bytes; a longer file is no atlas

std::string ViewSection(std::size_t view) {
    return "View" + std::to_string(view + 1);
}

template <typename T>
std::optional<T> ValueOf(const IniText& text, std::string_view section, std::string_view key) {
    const auto found = text.Find(section, key);
    T value{};
    if (!found || !ParseValue(*found, value)) return std::nullopt;
    return value;
}

// What says the same already keeps its bytes, however it is spelled.
template <typename T>
void PutValue(IniText& text, std::string_view section, std::string_view key, const T& value) {
    if (ValueOf<T>(text, section, key) != value) (void)text.Put(section, key, FormatValue(value));
}

// A default that nobody has written stays unwritten.
template <typename T>
void PutUnlessDefault(IniText& text, std::string_view section, std::string_view key, const T& value,
                      const T& initial) {
    if (ValueOf<T>(text, section, key).value_or(initial) != value)
        (void)text.Put(section, key, FormatValue(value));
}

std::optional<double> InRange(std::optional<double> value, double limit) {
    return value && std::abs(*value) <= limit ? value : std::nullopt;
}

// "first,span,total" for columns, then for rows.
std::optional<AtlasPosition> ParsePosition(std::string_view text) {
    std::array<std::int32_t, 6> numbers{};
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        const auto comma = text.find(',');
        if (!ParseValue(text.substr(0, comma), numbers[i])) return std::nullopt;
        if ((comma == std::string_view::npos) != (i + 1 == numbers.size())) return std::nullopt;
        text.remove_prefix(comma == std::string_view::npos ? text.size() : comma + 1);
    }
    return AtlasPosition{numbers[0], numbers[1], numbers[2], numbers[3], numbers[4], numbers[5]};
}

std::string FormatPosition(const AtlasPosition& at) {
    std::string text;
    for (const std::int32_t number :
         {at.firstColumn, at.columnSpan, at.columns, at.firstRow, at.rowSpan, at.rows}) {
        if (!text.empty()) text += ',';
        text += FormatValue(number);
    }
    return text;
}

bool HasDrive(std::string_view path) {
    const auto letter = [](char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); };
    return path.size() >= 3 && letter(path[0]) && path[1] == ':' &&
           (path[2] == '\\' || path[2] == '/');
}

// The file of a path as the atlas has it: relative to the atlas's folder, or else, where the files
// have moved together, of the same name in that folder.
FILEPATH FindLink(const FILEPATH& folder, const std::string& link) {
    FILEPATH direct = folder / FILEPATH(link);
    std::error_code failed;
    if (std::filesystem::exists(direct, failed)) return direct;
    const auto slash = link.find_last_of("/\\");
    if (slash == std::string::npos || slash + 1 == link.size()) return direct;
    FILEPATH beside = folder / FILEPATH(link.substr(slash + 1));
    if (std::filesystem::exists(beside, failed)) return beside;
    return direct;
}

FILEPATH FolderOf(const FILEPATH& path) {
    std::error_code failed;
    const FILEPATH whole = std::filesystem::absolute(path, failed);
    return (failed ? path : whole).parent_path();
}

std::string LinkTo(const FILEPATH& folder, const FILEPATH& file) {
    std::error_code failed;
    const FILEPATH whole = std::filesystem::absolute(file, failed);
    if (failed) return file.string();
    const FILEPATH relative =
        whole.lexically_normal().lexically_relative(folder.lexically_normal());
    return relative.empty() ? whole.string() : relative.string();
}

AtlasView ReadView(const IniText& text, std::size_t view, bool& valid) {
    const std::string section = ViewSection(view);
    AtlasView read;
    if (const auto legend = ValueOf<bool>(text, section, "ShowLegend"))
        read.legend = *legend ? AtlasLegend::Shown : AtlasLegend::Hidden;
    if (const auto mode = ValueOf<std::int32_t>(text, section, "GeoLockMode"))
        read.geoLockMode = *mode;
    if (const auto scale = ValueOf<double>(text, section, "GeoLockScale"))
        read.geoLockScale = *scale;
    const auto position = ParsePosition(text.Find(section, "Position").value_or(""));
    if (position) read.position = *position;
    valid = valid && position && position->Valid();
    read.object = text.Find(section, "Object").value_or("");
    return read;
}

void ReadViews(const IniText& text, std::vector<AtlasView>& views) {
    const auto count = std::clamp<std::int32_t>(
        ValueOf<std::int32_t>(text, kSection, "NumViews").value_or(1), 1, Atlas::kMostViews);
    bool valid = true;
    views.clear();
    for (std::size_t i = 0; std::cmp_less(i, count); ++i) views.push_back(ReadView(text, i, valid));
    if (valid) return;
    const auto positions = DefaultPositions(views.size());
    for (std::size_t i = 0; i < views.size(); ++i) views[i].position = positions[i];
}

void WriteViews(IniText& text, const std::vector<AtlasView>& views) {
    std::vector<AtlasView> old;
    ReadViews(text, old);
    if (old.size() != views.size())
        PutValue(text, kSection, "NumViews", static_cast<std::int32_t>(views.size()));
    // Positions that are taken together are written together.
    bool samePlaces = old.size() == views.size();
    for (std::size_t i = 0; samePlaces && i < views.size(); ++i)
        samePlaces = old[i].position == views[i].position;
    for (std::size_t i = 0; i < views.size(); ++i) {
        const AtlasView& view = views[i];
        const std::string section = ViewSection(i);
        if (view.legend == AtlasLegend::Unsaid) {
            // What doesn't read as yes or no is the user's, and stays.
            if (ValueOf<bool>(text, section, "ShowLegend"))
                (void)text.Remove(section, "ShowLegend");
        } else {
            PutValue(text, section, "ShowLegend", view.legend == AtlasLegend::Shown);
        }
        PutUnlessDefault(text, section, "GeoLockMode", view.geoLockMode, AtlasView().geoLockMode);
        PutUnlessDefault(text, section, "GeoLockScale", view.geoLockScale,
                         AtlasView().geoLockScale);
        if (!samePlaces) (void)text.Put(section, "Position", FormatPosition(view.position));
        PutUnlessDefault(text, section, "Object", view.object, QNSTRING());
    }
}

// A plain line can't hold what would end it.
bool Writable(std::string_view text) {
    return std::ranges::none_of(text, [](char c) { return c == '\n' || c == '\r' || c == '\0'; });
}

Status ReadAtlasText(const FILEPATH& path, std::string& bytes) {
    switch (ReadFileText(path, kLongest, bytes)) {
        case FileText::Missing:
            return _SetErrPosn(StatusCode::AtlasIncomplete, path.string() + " isn't there");
        case FileText::Unreadable:
            return _SetErrPosn(StatusCode::ReadFailed,
                               path.string() + " can't be read, or is no atlas of up to 1 MB");
        case FileText::Read:
            break;
    }
    return StatusCode::Ok;
}

Status Lacks(const FILEPATH& path, const std::string& key) {
    return _SetErrPosn(
        StatusCode::AtlasIncomplete,
        path.string() + " lacks \"" + key + "\" in the section [" + kSection + "]; add it there");
}

bool FindLayer(const ZPF::FILEHANDLE& file, std::string_view path, ZPFObjectItem& item) {
    while (path.starts_with('/')) path.remove_prefix(1);
    std::string table;
    if (!ZPF::FindListedTable(file, QNSTRING(path), table).Good()) return false;
    item = {file.GetFilePath(), {table, {}, ObjectType::Vector, kNoObject}, "/" + table};
    return true;
}

}  // namespace

bool AtlasPosition::Valid() const noexcept {
    const auto axis = [](std::int64_t first, std::int64_t span, std::int64_t total) {
        return first >= 0 && span >= 1 && total >= 1 && first + span <= total;
    };
    return axis(firstColumn, columnSpan, columns) && axis(firstRow, rowSpan, rows);
}

std::array<AtlasPosition, Atlas::kMostViews> DefaultPositions(std::size_t views) {
    if (views >= Atlas::kMostViews) {
        return {{{0, 1, 2, 0, 1, 2}, {1, 1, 2, 0, 1, 2}, {0, 1, 2, 1, 1, 2}, {1, 1, 2, 1, 1, 2}}};
    }
    std::array<AtlasPosition, Atlas::kMostViews> positions{};
    const auto columns = static_cast<std::int32_t>(std::max<std::size_t>(views, 1));
    for (std::int32_t i = 0; i < columns; ++i)
        positions[static_cast<std::size_t>(i)] = {i, 1, columns, 0, 1, 1};
    return positions;
}

Status Atlas::ReadText(const FILEPATH& path) try {
    std::string bytes;
    if (const Status read = ReadAtlasText(path, bytes); !read.Good()) return read;
    const IniText text(std::move(bytes), IniForm::Plain);
    const FILEPATH folder = FolderOf(path);
    const auto wanted = [&](const char* key) {
        return text.Find(kSection, key).value_or(std::string());
    };
    for (const char* key : {"Title", "File", "Object"})
        if (wanted(key).empty()) return Lacks(path, key);

    Atlas read;
    read.title = wanted("Title");
    // A path with a zero byte would end there for the system.
    const std::string link = wanted("File");
    if (!Writable(link)) return Lacks(path, "File");
    read.file = FindLink(folder, link);
    read.object = wanted("Object");
    read.backgroundColor =
        ValueOf<COLOR>(text, kSection, "BackgroundColor").value_or(kDefaultBackground);
    const auto latitude = InRange(ValueOf<double>(text, kSection, "StartCenterLat"), 90);
    const auto longitude = InRange(ValueOf<double>(text, kSection, "StartCenterLon"), 360);
    read.hasStartCentre = latitude && longitude;
    if (read.hasStartCentre) {
        read.startLatitude = *latitude;
        read.startLongitude = *longitude;
    }
    if (const auto width = ValueOf<double>(text, kSection, "StartZoomWidth"); width && *width > 0) {
        read.hasZoomWidth = true;
        read.startZoomWidth = *width;
    } else {
        read.startZoom1X = ValueOf<bool>(text, kSection, "StartZoom1X").value_or(false);
    }
    read.disableOpen = ValueOf<bool>(text, kSection, "DisableOpen").value_or(false);
    read.allowCustomize = ValueOf<bool>(text, kSection, "AllowCustomize").value_or(true);
    if (const FILEPATH name = wanted("CustomizeFile"); !name.empty()) {
        std::error_code failed;
        if (!name.has_parent_path() && std::filesystem::is_regular_file(folder / name, failed))
            read.customizeFile = folder / name;
    }
    ReadViews(text, read.views);
    *this = std::move(read);
    return StatusCode::Ok;
} catch (const std::bad_alloc&) {
    return _SetErrPosn(StatusCode::NoMemory);
}

Status Atlas::Read(const FILEPATH& path) {
    Atlas read;
    if (const Status text = read.ReadText(path); !text.Good()) return text;
    ZPF::FILEHANDLE project;
    if (const Status opened = project.Open(read.file, ZPF::OpenMode::Read); !opened.Good())
        return opened;
    ZPFObjectItem item;
    if (const Status found = FindObjectByPath(project, read.object, item); !found.Good())
        return found;
    *this = std::move(read);
    return StatusCode::Ok;
}

Status Atlas::Write(const FILEPATH& path, AtlasPaths paths) const try {
    const FILEPATH folder = FolderOf(path);
    std::string bytes;
    if (const Status read = ReadAtlasText(path, bytes);
        !read.Good() && read.Code() != StatusCode::AtlasIncomplete) {
        return read;
    }
    IniText text(std::move(bytes), IniForm::Plain);
    std::string link = text.Find(kSection, "File").value_or("");
    if (link.empty() || FindLink(folder, link) != file) link = LinkTo(folder, file);
    if (paths == AtlasPaths::Portable && HasDrive(link)) link[0] = 'X';
    for (const std::string& line : {title, link, object, customizeFile.string()}) {
        if (!Writable(line)) {
            return _SetErrPosn(StatusCode::BadState,
                               path.string() + ": a line can't hold a name with a line break");
        }
    }
    PutValue(text, kSection, "Title", title);
    PutValue(text, kSection, "File", link);
    PutValue(text, kSection, "Object", object);
    if (backgroundColor != kDefaultBackground)
        PutValue(text, kSection, "BackgroundColor", backgroundColor);
    if (hasStartCentre) {
        PutValue(text, kSection, "StartCenterLat", startLatitude);
        PutValue(text, kSection, "StartCenterLon", startLongitude);
    } else {
        (void)text.Remove(kSection, "StartCenterLat");
        (void)text.Remove(kSection, "StartCenterLon");
    }
    if (hasZoomWidth) {
        PutValue(text, kSection, "StartZoomWidth", startZoomWidth);
    } else {
        (void)text.Remove(kSection, "StartZoomWidth");
    }
    PutValue(text, kSection, "StartZoom1X", !hasZoomWidth && startZoom1X);
    PutUnlessDefault(text, kSection, "DisableOpen", disableOpen, false);
    PutUnlessDefault(text, kSection, "AllowCustomize", allowCustomize, true);
    if (!customizeFile.empty())
        PutValue(text, kSection, "CustomizeFile", customizeFile.filename().string());
    WriteViews(text, views);
    if (const std::error_code failed = ReplaceFileText(path, text.Text())) {
        return _SetErrPosn(StatusCode::WriteFailed, path.string() + ": " + failed.message());
    }
    return StatusCode::Ok;
} catch (const std::bad_alloc&) {
    return _SetErrPosn(StatusCode::NoMemory);
}

Status FindObjectByPath(const ZPF::FILEHANDLE& file, const QNSTRING& path, ZPFObjectItem& item) {
    if (!file.IsOpen()) return _SetErrPosn(StatusCode::NotOpen);
    int parent = kRootObject, found = kNoObject;
    std::string_view rest = path;
    while (rest.starts_with('/')) rest.remove_prefix(1);
    while (!rest.empty()) {
        const auto slash = rest.find('/');
        const QNSTRING name(rest.substr(0, slash));
        const bool last = slash == std::string_view::npos;
        rest.remove_prefix(last ? rest.size() : slash + 1);
        found = kNoObject;
        // What has something beneath it is a folder first; what is shown a raster.
        for (const ObjectType type :
             last ? std::array{ObjectType::Raster, ObjectType::Vector, ObjectType::Folder}
                  : std::array{ObjectType::Folder, ObjectType::Raster, ObjectType::Vector}) {
            found = file.FindObject(parent, type, name);
            if (found >= 0) break;
        }
        if (found < 0) break;
        parent = found;
    }
    ZPFObjectHeader header;
    const bool isFolder = found >= 0 && file.ReadObjectHeader(found, header).Good() &&
                          header.type == ObjectType::Folder;
    if (found >= 0 && !isFolder) return file.GetItem(found, item);
    // A layer that a GIS has added is no object of the tree.
    if (FindLayer(file, path, item)) return StatusCode::Ok;
    if (isFolder) return file.GetItem(found, item);
    return _SetErrPosn(StatusCode::ObjectNotFound,
                       file.GetFilePath().string() + " has no object \"" + path + "\"");
}

QNLIST<FILEPATH> ListAtlases(const FILEPATH& folder) try {
    QNLIST<FILEPATH> list;
    std::error_code failed;
    std::filesystem::directory_iterator entry(folder, failed);
    for (; !failed && entry != std::filesystem::directory_iterator(); entry.increment(failed)) {
        std::string extension = entry->path().extension().string();
        std::ranges::transform(extension, extension.begin(), [](char c) {
            return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
        });
        std::error_code gone;
        if (extension == ".atl" && entry->is_regular_file(gone)) list.push_back(entry->path());
    }
    list.sort();
    return list;
} catch (const std::exception&) {
    return {};
}

QNSTRING AtlasName(const FILEPATH& path) {
    std::string bytes;
    if (ReadFileText(path, kLongest, bytes) == FileText::Read) {
        const auto title = IniText(std::move(bytes), IniForm::Plain).Find(kSection, "Title");
        if (title && !title->empty()) return *title;
    }
    return path.stem().string();
}

}  // namespace tarnvale
