#include "References.h"

namespace framebroker {

BinaryReference::~BinaryReference() = default;
WritableBinaryReference::~WritableBinaryReference() = default;

} // namespace framebroker
