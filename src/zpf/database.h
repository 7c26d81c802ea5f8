#pragma once

#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "base/status.h"
#include "geom/transgen.h"
#include "zpf/zpffile.h"

struct sqlite3;
struct sqlite3_stmt;

namespace tarnvale::ZPF {

enum class RowState : std::uint8_t { Found, End, Failed };

class Database;

/// A prepared SQL statement. What it hands out (text, blobs) lives until the next Step or Reset.
/// Thread: that of its database. The database outlives it.
class Statement {
public:
    Statement() = default;
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;
    Statement(Statement&& other) noexcept;
    Statement& operator=(Statement&& other) noexcept;
    ~Statement();

    /// Parameters count from 1. A parameter that can't be bound makes the next Step fail.
    void Bind(int parameter, std::int64_t value);
    void Bind(int parameter, double value);
    void Bind(int parameter, std::string_view text);
    /// @param blob  kept by the caller until Reset
    void Bind(int parameter, std::span<const std::byte> blob);
    void BindNull(int parameter);
    /// Binds `value`, or null where `set` is false.
    void BindIf(bool set, int parameter, double value);

    [[nodiscard]] RowState Step();
    void Reset();

    /// Columns count from 0.
    [[nodiscard]] int Columns() const;
    [[nodiscard]] std::string_view ColumnName(int column) const;
    [[nodiscard]] bool IsInteger(int column) const;
    [[nodiscard]] bool IsNumber(int column) const;
    [[nodiscard]] bool IsText(int column) const;
    [[nodiscard]] bool IsBlob(int column) const;
    [[nodiscard]] bool IsNull(int column) const;
    [[nodiscard]] std::int64_t Integer(int column) const;
    [[nodiscard]] double Real(int column) const;
    [[nodiscard]] std::string_view Text(int column) const;
    [[nodiscard]] std::span<const std::byte> Blob(int column) const;

private:
    friend class Database;
    sqlite3_stmt* statement_ = nullptr;
    Database* database_ = nullptr;
    bool unbound_ = false;
};

/// One object of the tree as read when the file was opened.
struct ObjectRecord {
    ZPFObjectHeader header;
    int parent = kRootObject;
    int depth = 1;              ///< 1 at the root
    std::int64_t lastUsed = 0;  ///< the higher the later; 0 never
};

/// A coordinate reference system of the file, understood once.
struct KnownSystem {
    int srsId = 0;
    bool understood = false;
    COORDREFSYS system;
    bool geographic = false;
    double metresPerUnit = 1;
};

/// A connection to one file. Thread: one at a time.
class Database {
public:
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;
    ~Database();

    /// Opens an existing file from anyone: only after a look at its first bytes, read-only unless
    /// for writing, defensively, without triggers, views and extensions, and within limits. The
    /// schema isn't looked at yet.
    static Status Open(const FILEPATH& path, OpenMode mode, std::shared_ptr<Database>& database);
    /// Makes a new file at `temporary` for bulk writing: no journal and no flushing.
    /// @param shown  the name for messages
    static Status Create(const FILEPATH& temporary, const FILEPATH& shown,
                         std::unique_ptr<Database>& database);
    /// Closes the connection. @return WriteFailed if something couldn't be written
    Status Close();

    Status Execute(const char* sql);
    Status Prepare(std::string_view sql, Statement& statement);
    /// The statement prepared once for `sql` and kept; the caller resets it after use.
    /// @param sql  a literal: its address is what it is found by
    Status Keep(const char* sql, Statement*& statement);
    /// Steps to the end, then resets.
    Status Run(Statement& statement);

    /// The status of the last operation that failed on this connection, noted with the file's name.
    /// @param doing  what couldn't be done, such as "reading tile 3, 4 of \"Land\""
    Status Failure(std::string_view doing) const;
    /// Notes `what` about this file as `code`.
    Status Fault(StatusCode code, std::string_view what) const;

    [[nodiscard]] const FILEPATH& Path() const noexcept { return path_; }
    /// In number order, sound: parents stand before their children.
    [[nodiscard]] const std::vector<ObjectRecord>& Objects() const noexcept { return objects_; }
    void SetObjects(std::vector<ObjectRecord> objects);
    /// In number order.
    [[nodiscard]] std::span<const ObjectRecord* const> Children(int parent) const;
    /// @return null where there is no such object
    [[nodiscard]] const ObjectRecord* Find(int number) const;

    /// Filled by FindReferenceSystem.
    [[nodiscard]] std::list<KnownSystem>& Systems() noexcept { return systems_; }

private:
    friend class Statement;
    explicit Database(FILEPATH path) : path_(std::move(path)) {}
    Status Connect(const FILEPATH& file, int flags);
    Status Guard();
    [[nodiscard]] QNSTRING Message() const;  ///< of the last operation that failed
    static int OnProgress(void* database);

    struct Kept {
        const char* sql;
        std::unique_ptr<Statement> statement;
    };

    FILEPATH path_;
    sqlite3* connection_ = nullptr;
    bool writing_ = false;
    bool schemaIsRead_ = false;
    int ticks_ = 0;  // progress calls since the last step began
    std::vector<Kept> kept_;
    std::vector<ObjectRecord> objects_;
    std::vector<const ObjectRecord*> byParent_;  // then by number
    std::list<KnownSystem> systems_;
};

}  // namespace tarnvale::ZPF
