#pragma once

/// The graphics objects of the process, by handle.

#include "WindowsApi_Types.h"

#include <memory>
#include <new>
#include <utility>

namespace WindowsApi {

/// Base of everything that a graphics handle stands for.
class GraphicsObject {
public:
    GraphicsObject(const GraphicsObject&) = delete;
    GraphicsObject& operator=(const GraphicsObject&) = delete;
    virtual ~GraphicsObject() = default;

    /// Contexts have functions of their own that delete them, and stock objects are never deleted.
    enum class Deletion { ByDeleteObject, Elsewhere, Never };
    Deletion deletion = Deletion::ByDeleteObject; ///< set before the object has a handle

protected:
    GraphicsObject() = default;
};

/// A new handle, which shares the object. Throws std::bad_alloc.
HGDIOBJ AddGraphicsObject(std::shared_ptr<GraphicsObject> inObject);

/// The object of a handle in use, else null.
std::shared_ptr<GraphicsObject> FindGraphicsObject(HGDIOBJ inHandle) noexcept;

/// The object of a handle in use whose object is of this class, else null.
template <class Object>
std::shared_ptr<Object> Find(HGDIOBJ inHandle) noexcept {
    return std::dynamic_pointer_cast<Object>(FindGraphicsObject(inHandle));
}

/// Takes a handle out of use. Whether it was in use.
bool RemoveGraphicsObject(HGDIOBJ inHandle) noexcept;

/// A new object behind a new handle; null when memory is exhausted.
template <class Object, class... Arguments>
HGDIOBJ MakeGraphicsObject(Arguments&&... inArguments) noexcept {
    try {
        return AddGraphicsObject(std::make_shared<Object>(std::forward<Arguments>(inArguments)...));
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

} // namespace WindowsApi
