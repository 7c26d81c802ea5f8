#include "zpf/database.h"

#include <fmt/format.h>
#include <sqlite3.h>

#include <algorithm>
#include <array>
#include <climits>
#include <fstream>
#include <utility>

#include "zpf/text.h"

namespace tarnvale::ZPF {

namespace {

constexpr int kBusyMilliseconds = 500;
// A damaged or hostile b-tree can lead round in circles: a single step may take this many virtual
// machine operations and no more. Honest steps here take a few dozen.
constexpr int kOperationsPerTick = 1000;
constexpr int kTicksPerStep = 300;
// Reading the schema takes a few operations for each table, but much time: some 8000 tables are
// enough.
constexpr int kTicksForSchema = 60;
constexpr int kLongestValue = 16 << 20;  // bytes of a blob, a text or a row
constexpr int kLongestSql = 200'000;     // bytes of one CREATE statement in the file's schema

constexpr std::size_t kFileHead = 100;
constexpr std::string_view kMagic{"SQLite format 3\0", 16};
constexpr std::string_view kCureNotOurs = "choose a .sim file";
constexpr std::string_view kCureDamaged = "make the file anew or fetch it again";

std::uint32_t BigEndian(std::span<const unsigned char> bytes) {
    std::uint32_t value = 0;
    for (const unsigned char byte : bytes) value = value << 8 | byte;
    return value;
}

/// Looks at the first bytes, so that SQLite meets only what claims to be a GeoPackage and is as
/// long as it says.
Status CheckHead(const Database& database, const FILEPATH& path) {
    std::error_code error;
    const auto kind = std::filesystem::status(path, error);
    if (kind.type() == std::filesystem::file_type::not_found) {
        return database.Fault(StatusCode::FileNotFound, "no such file; check the name");
    }
    if (error)
        return database.Fault(StatusCode::ReadFailed, error.message() + "; check the permissions");
    if (kind.type() != std::filesystem::file_type::regular) {
        return database.Fault(StatusCode::NotALandscape, fmt::format("no file; {}", kCureNotOurs));
    }
    std::ifstream stream(path, std::ios::binary);
    if (!stream)
        return database.Fault(StatusCode::ReadFailed, "can't be read; check the permissions");
    std::array<unsigned char, kFileHead> head{};
    stream.read(reinterpret_cast<char*>(head.data()), head.size());
    const auto got = static_cast<std::size_t>(stream.gcount());
    if (got < kMagic.size() || !std::equal(kMagic.begin(), kMagic.end(), head.begin())) {
        return database.Fault(StatusCode::NotALandscape,
                              fmt::format("no project file; {}", kCureNotOurs));
    }
    const std::uintmax_t size = std::filesystem::file_size(path, error);
    if (got < head.size() || error) {
        return database.Fault(StatusCode::FileDamaged, fmt::format("cut short; {}", kCureDamaged));
    }
    const std::span bytes(head);
    const std::uint32_t application = BigEndian(bytes.subspan(68, 4));
    if (application != 0x47504B47 && application != 0x47503130 && application != 0x47503131) {
        return database.Fault(StatusCode::NotALandscape,
                              fmt::format("a database, but no GeoPackage; {}", kCureNotOurs));
    }
    std::uint32_t pageSize = BigEndian(bytes.subspan(16, 2));
    if (pageSize == 1) pageSize = 65536;
    const std::uint64_t pages = BigEndian(bytes.subspan(28, 4));
    const bool countIsCurrent = BigEndian(bytes.subspan(24, 4)) == BigEndian(bytes.subspan(92, 4));
    if (size < pageSize || (countIsCurrent && size < pages * pageSize)) {
        return database.Fault(StatusCode::FileDamaged, fmt::format("cut short; {}", kCureDamaged));
    }
    return StatusCode::Ok;
}

}  // namespace

Statement::Statement(Statement&& other) noexcept
    : statement_(std::exchange(other.statement_, nullptr)),
      database_(std::exchange(other.database_, nullptr)),
      unbound_(other.unbound_) {}

Statement& Statement::operator=(Statement&& other) noexcept {
    std::swap(statement_, other.statement_);
    std::swap(database_, other.database_);
    std::swap(unbound_, other.unbound_);
    return *this;
}

Statement::~Statement() {
    sqlite3_finalize(statement_);
}

void Statement::Bind(int parameter, std::int64_t value) {
    if (sqlite3_bind_int64(statement_, parameter, value) != SQLITE_OK) unbound_ = true;
}

void Statement::Bind(int parameter, double value) {
    if (sqlite3_bind_double(statement_, parameter, value) != SQLITE_OK) unbound_ = true;
}

void Statement::Bind(int parameter, std::string_view text) {
    if (sqlite3_bind_text64(statement_, parameter, text.data(), text.size(), SQLITE_TRANSIENT,
                            SQLITE_UTF8) != SQLITE_OK) {
        unbound_ = true;
    }
}

void Statement::Bind(int parameter, std::span<const std::byte> blob) {
    if (sqlite3_bind_blob64(statement_, parameter, blob.data(), blob.size(), SQLITE_STATIC) !=
        SQLITE_OK) {
        unbound_ = true;
    }
}

void Statement::BindNull(int parameter) {
    if (sqlite3_bind_null(statement_, parameter) != SQLITE_OK) unbound_ = true;
}

void Statement::BindIf(bool set, int parameter, double value) {
    if (set) {
        Bind(parameter, value);
    } else {
        BindNull(parameter);
    }
}

RowState Statement::Step() {
    if (statement_ == nullptr || unbound_) return RowState::Failed;
    database_->ticks_ = 0;
    const int result = sqlite3_step(statement_);
    if (result == SQLITE_ROW) return RowState::Found;
    return result == SQLITE_DONE ? RowState::End : RowState::Failed;
}

void Statement::Reset() {
    unbound_ = false;
    sqlite3_reset(statement_);  // repeats the code of a failed step, which the caller has seen
    sqlite3_clear_bindings(statement_);
}

int Statement::Columns() const {
    return sqlite3_column_count(statement_);
}

std::string_view Statement::ColumnName(int column) const {
    const char* name = sqlite3_column_name(statement_, column);
    return name == nullptr ? std::string_view() : std::string_view(name);
}

bool Statement::IsInteger(int column) const {
    return sqlite3_column_type(statement_, column) == SQLITE_INTEGER;
}

bool Statement::IsNumber(int column) const {
    const int type = sqlite3_column_type(statement_, column);
    return type == SQLITE_INTEGER || type == SQLITE_FLOAT;
}

bool Statement::IsText(int column) const {
    return sqlite3_column_type(statement_, column) == SQLITE_TEXT;
}

bool Statement::IsBlob(int column) const {
    return sqlite3_column_type(statement_, column) == SQLITE_BLOB;
}

bool Statement::IsNull(int column) const {
    return sqlite3_column_type(statement_, column) == SQLITE_NULL;
}

std::int64_t Statement::Integer(int column) const {
    return sqlite3_column_int64(statement_, column);
}

double Statement::Real(int column) const {
    return sqlite3_column_double(statement_, column);
}

std::string_view Statement::Text(int column) const {
    const unsigned char* text = sqlite3_column_text(statement_, column);
    if (text == nullptr) return {};
    return {reinterpret_cast<const char*>(text),
            static_cast<std::size_t>(sqlite3_column_bytes(statement_, column))};
}

std::span<const std::byte> Statement::Blob(int column) const {
    const void* blob = sqlite3_column_blob(statement_, column);
    if (blob == nullptr) return {};
    return {static_cast<const std::byte*>(blob),
            static_cast<std::size_t>(sqlite3_column_bytes(statement_, column))};
}

Database::~Database() {
    sqlite3_close_v2(connection_);
}

int Database::OnProgress(void* database) {
    auto* self = static_cast<Database*>(database);
    return ++self->ticks_ > (self->schemaIsRead_ ? kTicksPerStep : kTicksForSchema) ? 1 : 0;
}

Status Database::Connect(const FILEPATH& file, int flags) {
    // An absolute path can't be taken for a URI.
    std::error_code error;
    const FILEPATH absolute = std::filesystem::absolute(file, error);
    if (error) return Fault(StatusCode::ReadFailed, error.message());
    const int opened =
        sqlite3_open_v2(absolute.c_str(), &connection_, flags | SQLITE_OPEN_NOMUTEX, nullptr);
    if (connection_ == nullptr) return _SetErrPosn(StatusCode::NoMemory);
    if (opened != SQLITE_OK) return Failure("opening");
    sqlite3_extended_result_codes(connection_, 1);
    return StatusCode::Ok;
}

/// Turns off what a file from a stranger must not use.
Status Database::Guard() {
    sqlite3_busy_timeout(connection_, kBusyMilliseconds);
    sqlite3_progress_handler(connection_, kOperationsPerTick, &Database::OnProgress, this);
    for (const auto& [limit, value] : {std::pair{SQLITE_LIMIT_LENGTH, kLongestValue},
                                       {SQLITE_LIMIT_SQL_LENGTH, kLongestSql},
                                       {SQLITE_LIMIT_EXPR_DEPTH, 100},
                                       {SQLITE_LIMIT_COMPOUND_SELECT, 10},
                                       {SQLITE_LIMIT_VDBE_OP, 25'000},
                                       {SQLITE_LIMIT_FUNCTION_ARG, 8},
                                       {SQLITE_LIMIT_ATTACHED, 0},
                                       {SQLITE_LIMIT_LIKE_PATTERN_LENGTH, 50},
                                       {SQLITE_LIMIT_VARIABLE_NUMBER, 50},
                                       {SQLITE_LIMIT_TRIGGER_DEPTH, 10},
                                       {SQLITE_LIMIT_WORKER_THREADS, 0}}) {
        sqlite3_limit(connection_, limit, value);
    }
    for (const auto& [option, value] : {std::pair{SQLITE_DBCONFIG_DEFENSIVE, 1},
                                        {SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0},
                                        {SQLITE_DBCONFIG_ENABLE_LOAD_EXTENSION, 0},
                                        {SQLITE_DBCONFIG_ENABLE_TRIGGER, 0},
                                        {SQLITE_DBCONFIG_ENABLE_VIEW, 0}}) {
        if (sqlite3_db_config(connection_, option, value, nullptr) != SQLITE_OK)
            return Failure("opening");
    }
    return StatusCode::Ok;
}

Status Database::Open(const FILEPATH& path, OpenMode mode, std::shared_ptr<Database>& database) {
    std::shared_ptr<Database> opened(new Database(path));  // NOLINT: the constructor is private
    if (const Status head = CheckHead(*opened, path); !head.Good()) return head;
    opened->writing_ = mode == OpenMode::Write;
    const int flags = opened->writing_ ? SQLITE_OPEN_READWRITE : SQLITE_OPEN_READONLY;
    if (const Status connected = opened->Connect(path, flags); !connected.Good()) return connected;
    sqlite3* connection = opened->connection_;
    if (opened->writing_ && sqlite3_db_readonly(connection, "main") == 1) {
        return opened->Fault(StatusCode::WriteFailed,
                             "the file is read-only; change its permissions");
    }
    if (const Status guarded = opened->Guard(); !guarded.Good()) return guarded;
    // No memory map: a file that another program cuts short would end the process with a bus error.
    // The last statement makes SQLite read the schema.
    const char* pragmas =
        opened->writing_
            ? "PRAGMA cell_size_check=ON; PRAGMA mmap_size=0; SELECT 1 FROM sqlite_master LIMIT 1"
            : "PRAGMA cell_size_check=ON; PRAGMA mmap_size=0; PRAGMA query_only=ON;"
              " SELECT 1 FROM sqlite_master LIMIT 1";
    if (const Status set = opened->Execute(pragmas); !set.Good()) return set;
    opened->schemaIsRead_ = true;
    database = std::move(opened);
    return StatusCode::Ok;
}

Status Database::Create(const FILEPATH& temporary, const FILEPATH& shown,
                        std::unique_ptr<Database>& database) {
    std::unique_ptr<Database> created(new Database(shown));  // NOLINT: the constructor is private
    created->writing_ = true;
    if (const Status connected =
            created->Connect(temporary, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
        !connected.Good()) {
        return connected;
    }
    if (const Status set = created->Execute(
            "PRAGMA page_size=8192; PRAGMA journal_mode=OFF; PRAGMA synchronous=OFF;"
            "PRAGMA locking_mode=EXCLUSIVE; PRAGMA secure_delete=OFF; PRAGMA cache_size=-16384;"
            "PRAGMA application_id=0x47504B47; PRAGMA user_version=10300; BEGIN");
        !set.Good()) {
        return set;
    }
    database = std::move(created);
    return StatusCode::Ok;
}

Status Database::Close() {
    kept_.clear();
    const int closed = sqlite3_close(connection_);
    if (closed != SQLITE_OK) return Failure("closing");
    connection_ = nullptr;
    return StatusCode::Ok;
}

Status Database::Execute(const char* sql) {
    ticks_ = 0;
    if (sqlite3_exec(connection_, sql, nullptr, nullptr, nullptr) == SQLITE_OK)
        return StatusCode::Ok;
    return Failure(writing_ ? "writing" : "reading");
}

Status Database::Prepare(std::string_view sql, Statement& statement) {
    ticks_ = 0;
    Statement prepared;
    prepared.database_ = this;
    if (sqlite3_prepare_v3(connection_, sql.data(), static_cast<int>(sql.size()),
                           SQLITE_PREPARE_PERSISTENT, &prepared.statement_, nullptr) != SQLITE_OK) {
        return Failure(writing_ ? "writing" : "reading");
    }
    statement = std::move(prepared);
    return StatusCode::Ok;
}

Status Database::Keep(const char* sql, Statement*& statement) {
    auto kept = std::ranges::find(kept_, sql, &Kept::sql);
    if (kept == kept_.end()) {
        auto prepared = std::make_unique<Statement>();
        if (const Status status = Prepare(sql, *prepared); !status.Good()) return status;
        kept = kept_.insert(kept_.end(), Kept{sql, std::move(prepared)});
    }
    statement = kept->statement.get();
    return StatusCode::Ok;
}

Status Database::Run(Statement& statement) {
    RowState state = RowState::Found;
    while (state == RowState::Found) state = statement.Step();
    const Status result =
        state == RowState::End ? Status(StatusCode::Ok) : Failure(writing_ ? "writing" : "reading");
    statement.Reset();
    return result;
}

Status Database::Failure(std::string_view doing) const {
    const int extended = sqlite3_extended_errcode(connection_);
    const StatusCode general = writing_ ? StatusCode::WriteFailed : StatusCode::ReadFailed;
    switch (extended & 0xFF) {
        case SQLITE_NOMEM:
            return Fault(StatusCode::NoMemory, fmt::format("{}: not enough memory", doing));
        case SQLITE_BUSY:
        case SQLITE_LOCKED:
            return Fault(general,
                         fmt::format("{}: another program holds the file; close it there", doing));
        case SQLITE_FULL:
            return Fault(
                StatusCode::WriteFailed,
                fmt::format("{}: no room left on the disc; free some or choose another folder",
                            doing));
        case SQLITE_READONLY:
            return Fault(
                general,
                fmt::format("{}: a save by another program was interrupted; open and close the "
                            "file there once",
                            doing));
        case SQLITE_PERM:
        case SQLITE_AUTH:
        case SQLITE_CANTOPEN:
            return Fault(
                general,
                fmt::format("{}: the file or its folder can't be used; check the permissions",
                            doing));
        case SQLITE_IOERR:
            return Fault(general,
                         fmt::format("{}: the disc failed or is full ({})", doing, Message()));
        case SQLITE_CORRUPT:
        case SQLITE_NOTADB:
            return Fault(StatusCode::FileDamaged,
                         fmt::format("{}: {}; {}", doing, Message(), kCureDamaged));
        case SQLITE_INTERRUPT:
            return Fault(StatusCode::FileDamaged,
                         fmt::format("{}: goes on without end; {}", doing, kCureDamaged));
        case SQLITE_MISUSE:
        case SQLITE_INTERNAL:
            return Fault(StatusCode::BadState, fmt::format("{}: {}", doing, Message()));
        default:
            if (writing_) return Fault(general, fmt::format("{}: {}", doing, Message()));
            return Fault(StatusCode::FileDamaged,
                         fmt::format("{}: {}; {}", doing, Message(), kCureDamaged));
    }
}

// It may quote names of the file, with what they hold.
QNSTRING Database::Message() const {
    constexpr std::size_t kLongest = 200;
    return OneLine(sqlite3_errmsg(connection_), kLongest);
}

Status Database::Fault(StatusCode code, std::string_view what) const {
    return _SetErrPosn(code, fmt::format("{}: {}", path_.string(), what));
}

void Database::SetObjects(std::vector<ObjectRecord> objects) {
    objects_ = std::move(objects);
    byParent_.clear();
    byParent_.reserve(objects_.size());
    for (const ObjectRecord& record : objects_) byParent_.push_back(&record);
    std::ranges::stable_sort(byParent_, {}, &ObjectRecord::parent);
}

std::span<const ObjectRecord* const> Database::Children(int parent) const {
    // Both ends by themselves: clang 14 can't take in what equal_range answers.
    const auto first = std::ranges::lower_bound(byParent_, parent, {}, &ObjectRecord::parent);
    const auto last = std::ranges::upper_bound(byParent_, parent, {}, &ObjectRecord::parent);
    return {first, last};
}

const ObjectRecord* Database::Find(int number) const {
    const auto found = std::ranges::lower_bound(
        objects_, number, {}, [](const ObjectRecord& record) { return record.header.number; });
    return found != objects_.end() && found->header.number == number ? &*found : nullptr;
}

}  // namespace tarnvale::ZPF
