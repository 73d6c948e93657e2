#include "Peers.h"

namespace converterbench {

// Where OpenCV is not installed.
std::unique_ptr<Worker> MakeOpenCV(const Job& /*job*/) {
    return nullptr;
}

} // namespace converterbench
