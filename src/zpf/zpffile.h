#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "base/status.h"
#include "base/types.h"

namespace tarnvale {

/// Types of objects in a project file, as stored.
enum class ObjectType : std::int32_t {
    Folder = 2,
    Raster = 3,
    Vector = 4,
    Database = 6,
    ColorMap = 19,
    Text = 55,
};

/// Number of the root of a project file's tree.
inline constexpr int kRootObject = 0;
/// No object.
inline constexpr int kNoObject = -1;

struct ZPFObjectHeader {
    QNSTRING name;         ///< at most 16 characters
    QNSTRING description;  ///< at most 64 characters
    ObjectType type = ObjectType::Folder;
    int number = kNoObject;
};

/// Names one object of one project file, open or not.
struct ZPFObjectItem {
    FILEPATH file;
    ZPFObjectHeader header;
    QNSTRING objectPath;
};

namespace ZPF {

enum class OpenMode : std::uint8_t { Read = 1, Write = 2 };

class Database;  // the SQLite connection, inside this folder alone

/// An open project file: a tree of typed, numbered, named objects. File order is number order.
/// Files come from strangers: opening checks the schema (a file with views, triggers, virtual
/// tables or other columns than ours is refused) and opens SQLite read-only and defensively.
/// Thread: one handle on one thread at a time; a handle and its rasters share a connection.
class FILEHANDLE {
public:
    FILEHANDLE();
    ~FILEHANDLE();
    FILEHANDLE(FILEHANDLE&&) noexcept;
    FILEHANDLE& operator=(FILEHANDLE&&) noexcept;

    /// @return FileNotFound, NotALandscape (no project file), FileDamaged, FileRefused,
    /// WriteFailed; the
    ///         detail (GetErrString) names the file, what is wrong and what to do
    Status Open(const FILEPATH& path, OpenMode mode);
    void CloseFile();
    [[nodiscard]] bool IsOpen() const noexcept;

    /// Goes through the children of `parent` with a type, in file order.
    /// @param iterator  0 to begin; copy it to remember a place
    /// @return false at the end, or when not open
    [[nodiscard]] bool GetNextInodeNum(std::int64_t& iterator, int parent, ObjectType type,
                                       int& number) const;
    Status ReadObjectHeader(int number, ZPFObjectHeader& header) const;
    /// Names compare without regard to case. @return object number or kNoObject
    [[nodiscard]] int FindObject(int parent, ObjectType type, const QNSTRING& name) const;
    [[nodiscard]] int GetObjectCount(int parent, ObjectType type) const;
    /// @return the child last used (such as a colour map), else the first one, else kNoObject
    [[nodiscard]] int GetLastUsed(int parent, ObjectType type) const;
    [[nodiscard]] FILEPATH GetFilePath() const;
    /// @return "/folder/name" of an object
    [[nodiscard]] QNSTRING GetObjectPath(int number) const;
    /// Everything that names the object: file, header, path. @return NotOpen, or the read's error
    Status GetItem(int number, ZPFObjectItem& item) const;
    /// @param text  out: a text object's content, UTF-8
    Status ReadText(int number, QNSTRING& text) const;
    /// The first table with this usage code in any database object, in file order.
    /// @return its database's object number or kNoObject
    [[nodiscard]] int FindDatabaseByTableUsage(int usage) const;

    [[nodiscard]] const std::shared_ptr<Database>& Connection() const noexcept { return database_; }

private:
    std::shared_ptr<Database> database_;
};

}  // namespace ZPF
}  // namespace tarnvale
