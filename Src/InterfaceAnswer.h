#pragma once

#include "BRTFoundation.h"
#include "VFResults.h"
#include "zyncore.h"

#include <cstdint>

namespace VF::Details {

/// What QueryInterface does for an object of the listed interfaces: inID's interface with a reference counted, or null
/// and kResult_NoSuchInterface. The first also answers for BRTUnknown. offered is false where this object has inID's
/// interface in its class only.
template <class First, class... Others, class Object>
std::int32_t AnswerInterface(Object& object, const zyncore::utility::Guid& inID, bool offered, void** outInterface) {
    void* found = nullptr;
    if (offered) {
        if (inID == First::kInterfaceID || inID == BRT::BRTUnknown::kInterfaceID) {
            found = static_cast<First*>(&object);
        } else {
            ((inID == Others::kInterfaceID && (found = static_cast<Others*>(&object))) || ...);
        }
    }
    *outInterface = found;
    if (found == nullptr) {
        return kResult_NoSuchInterface;
    }
    object.AddRef();
    return kResult_Success;
}

} // namespace VF::Details
