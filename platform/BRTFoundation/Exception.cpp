#include "BRTFoundation.h"

namespace BRT {

Exception::~Exception() = default;

const char* Exception::what() const noexcept {
    return "BRT::Exception";
}

NullInterfaceException::~NullInterfaceException() = default;

const char* NullInterfaceException::what() const noexcept {
    return "Call through an empty interface reference.";
}

void ThrowNullInterface() {
    throw NullInterfaceException();
}

} // namespace BRT
