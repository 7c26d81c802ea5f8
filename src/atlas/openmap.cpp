#include "atlas/openmap.h"

#include <utility>

#include "atlas/mappicture.h"
#include "atlas/vectorlayer.h"
#include "landscape/atlas.h"

namespace tarnvale {

namespace {

template <typename Map>
Status OpenAs(ZPF::FILEHANDLE file, const ZPFObjectItem& item, std::shared_ptr<MapSource>& map) {
    auto opened = std::make_shared<Map>();
    const Status status = opened->Open(std::move(file), item);
    if (status.Good()) map = std::move(opened);
    return status;
}

}  // namespace

Status OpenMap(const FILEPATH& file, const QNSTRING& object, std::shared_ptr<MapSource>& map) {
    ZPF::FILEHANDLE opened;
    if (const Status status = opened.Open(file, ZPF::OpenMode::Read); !status.Good()) return status;
    ZPFObjectItem item;
    if (const Status found = FindObjectByPath(opened, object, item); !found.Good()) return found;
    return item.header.type == ObjectType::Vector
               ? OpenAs<VectorLayer>(std::move(opened), item, map)
               : OpenAs<MapPicture>(std::move(opened), item, map);
}

}  // namespace tarnvale
