#include "GraphicsObjects.h"

#include "HandleTable.h"
#include "WindowsApi_DeviceContexts.h"
#include "zyncore/Immortal.h"

#include <mutex>

namespace WindowsApi {
namespace {

struct Table {
    std::mutex mutex;
    HandleTable<std::shared_ptr<GraphicsObject>, HandleKind::Graphics> objects;
};

Table& Objects() {
    static zyncore::detail::Immortal<Table> table;
    return table.Get();
}

} // namespace

HGDIOBJ AddGraphicsObject(std::shared_ptr<GraphicsObject> inObject) {
    Table& table = Objects();
    const std::lock_guard lock(table.mutex);
    return table.objects.Add(std::move(inObject));
}

std::shared_ptr<GraphicsObject> FindGraphicsObject(HGDIOBJ inHandle) noexcept {
    Table& table = Objects();
    const std::lock_guard lock(table.mutex);
    const std::shared_ptr<GraphicsObject>* const found = table.objects.Find(inHandle);
    return found != nullptr ? *found : nullptr;
}

bool RemoveGraphicsObject(HGDIOBJ inHandle) noexcept {
    Table& table = Objects();
    std::optional<std::shared_ptr<GraphicsObject>> removed; // dies after the lock
    const std::lock_guard lock(table.mutex);
    removed = table.objects.Take(inHandle);
    return removed.has_value();
}

} // namespace WindowsApi

BOOL DeleteObject(HGDIOBJ inObject) {
    using Deletion = WindowsApi::GraphicsObject::Deletion;
    const std::shared_ptr<WindowsApi::GraphicsObject> object = WindowsApi::FindGraphicsObject(inObject);
    if (!object) {
        return FALSE;
    }
    switch (object->deletion) {
    case Deletion::Elsewhere:
        return FALSE;
    case Deletion::Never:
        return TRUE;
    case Deletion::ByDeleteObject:
        break;
    }
    return WindowsApi::RemoveGraphicsObject(inObject) ? TRUE : FALSE;
}
