#include "zpf/zpffile.h"

#include <fmt/format.h>

#include <algorithm>
#include <new>

#include "zpf/database.h"
#include "zpf/schema.h"
#include "zpf/text.h"

namespace tarnvale::ZPF {

namespace {

auto IsOf(ObjectType type) {
    return [type](const ObjectRecord* record) { return record->header.type == type; };
}

}  // namespace

FILEHANDLE::FILEHANDLE() = default;
FILEHANDLE::~FILEHANDLE() = default;
FILEHANDLE::FILEHANDLE(FILEHANDLE&&) noexcept = default;
FILEHANDLE& FILEHANDLE::operator=(FILEHANDLE&&) noexcept = default;

Status FILEHANDLE::Open(const FILEPATH& path, OpenMode mode) try {
    CloseFile();
    std::shared_ptr<Database> opened;
    if (const Status status = Database::Open(path, mode, opened); !status.Good()) return status;
    if (const Status status = CheckSchema(*opened); !status.Good()) return status;
    if (const Status status = LoadObjects(*opened); !status.Good()) return status;
    database_ = std::move(opened);
    return StatusCode::Ok;
} catch (const std::bad_alloc&) {
    return _SetErrPosn(StatusCode::NoMemory);
}

void FILEHANDLE::CloseFile() {
    database_.reset();
}

bool FILEHANDLE::IsOpen() const noexcept {
    return database_ != nullptr;
}

bool FILEHANDLE::GetNextInodeNum(std::int64_t& iterator, int parent, ObjectType type,
                                 int& number) const {
    if (!IsOpen()) return false;
    const auto children = database_->Children(parent);
    // The iterator is the number of the object that was found last.
    auto next = std::ranges::upper_bound(children, iterator, {}, [](const ObjectRecord* record) {
        return std::int64_t{record->header.number};
    });
    next = std::find_if(next, children.end(), IsOf(type));
    if (next == children.end()) return false;
    number = (*next)->header.number;
    iterator = number;
    return true;
}

Status FILEHANDLE::ReadObjectHeader(int number, ZPFObjectHeader& header) const {
    if (!IsOpen()) return _SetErrPosn(StatusCode::NotOpen);
    const ObjectRecord* record = database_->Find(number);
    if (record == nullptr)
        return database_->Fault(StatusCode::BadState, fmt::format("no object {}", number));
    header = record->header;
    return StatusCode::Ok;
}

int FILEHANDLE::FindObject(int parent, ObjectType type, const QNSTRING& name) const {
    if (!IsOpen()) return kNoObject;
    const auto children = database_->Children(parent);
    const auto found = std::ranges::find_if(children, [&](const ObjectRecord* record) {
        return record->header.type == type && SameName(record->header.name, name);
    });
    return found == children.end() ? kNoObject : (*found)->header.number;
}

int FILEHANDLE::GetObjectCount(int parent, ObjectType type) const {
    if (!IsOpen()) return 0;
    return static_cast<int>(std::ranges::count_if(database_->Children(parent), IsOf(type)));
}

int FILEHANDLE::GetLastUsed(int parent, ObjectType type) const {
    if (!IsOpen()) return kNoObject;
    return FindLastUsed(*database_, parent, type);
}

FILEPATH FILEHANDLE::GetFilePath() const {
    return IsOpen() ? database_->Path() : FILEPATH();
}

QNSTRING FILEHANDLE::GetObjectPath(int number) const {
    if (!IsOpen()) return {};
    QNSTRING path;
    // Parents have lower numbers than their children, so this ends.
    for (const ObjectRecord* record = database_->Find(number); record != nullptr;
         record = database_->Find(record->parent)) {
        path.insert(0, "/" + record->header.name);
    }
    return path;
}

Status FILEHANDLE::GetItem(int number, ZPFObjectItem& item) const {
    ZPFObjectItem found;
    if (const Status status = ReadObjectHeader(number, found.header); !status.Good()) return status;
    found.file = GetFilePath();
    found.objectPath = GetObjectPath(number);
    item = std::move(found);
    return StatusCode::Ok;
}

Status FILEHANDLE::ReadText(int number, QNSTRING& text) const try {
    ZPFObjectHeader header;
    if (const Status status = ReadObjectHeader(number, header); !status.Good()) return status;
    if (header.type != ObjectType::Text) {
        return database_->Fault(StatusCode::BadState, fmt::format("object {} is no text", number));
    }
    Statement* row = nullptr;
    if (const Status status =
            database_->Keep("SELECT content FROM zpf_text WHERE object = ?1", row);
        !status.Good()) {
        return status;
    }
    row->Bind(1, std::int64_t{number});
    const RowState state = row->Step();
    const bool found = state == RowState::Found && row->IsText(0);
    if (found) text = ValidUtf8(row->Text(0));
    row->Reset();
    if (state == RowState::Failed) return database_->Failure("reading a text");
    if (found) return StatusCode::Ok;
    return database_->Fault(StatusCode::FileDamaged,
                            fmt::format("text \"{}\" has no content", header.name));
} catch (const std::bad_alloc&) {
    return _SetErrPosn(StatusCode::NoMemory);
}

int FILEHANDLE::FindDatabaseByTableUsage(int usage) const {
    if (!IsOpen() || database_->Objects().empty()) return kNoObject;
    Statement* row = nullptr;
    if (!database_->Keep("SELECT object FROM zpf_table WHERE usage = ?1 ORDER BY object", row)
             .Good()) {
        return kNoObject;
    }
    row->Bind(1, std::int64_t{usage});
    int number = kNoObject;
    while (number == kNoObject && row->Step() == RowState::Found) {
        const std::int64_t candidate = row->Integer(0);
        const ObjectRecord* record = candidate > 0 && candidate <= INT32_MAX
                                         ? database_->Find(static_cast<int>(candidate))
                                         : nullptr;
        if (record != nullptr && record->header.type == ObjectType::Database)
            number = record->header.number;
    }
    row->Reset();
    return number;
}

}  // namespace tarnvale::ZPF
