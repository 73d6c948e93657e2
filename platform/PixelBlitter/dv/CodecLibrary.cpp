#include "dv/CodecLibrary.h"

#include <dlfcn.h>

namespace PixelBlitter::dv {
namespace {

#define PIXELBLITTER_TEXT_OF(x) #x
#define PIXELBLITTER_TEXT(x) PIXELBLITTER_TEXT_OF(x)
// The major version that the headers describe; others have other structures.
constexpr const char* kLibraryName = "libavcodec.so." PIXELBLITTER_TEXT(LIBAVCODEC_VERSION_MAJOR);

struct Loaded {
    CodecLibrary functions;
    bool complete = false;
};

Loaded Load() noexcept {
    Loaded loaded;
    void* const library = dlopen(kLibraryName, RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) {
        return loaded;
    }
    loaded.complete = true;
    // Functions of the library's own dependency, libavutil, are found through it.
#define PIXELBLITTER_AV_FIND(function)                                                                                 \
    loaded.functions.function = reinterpret_cast<decltype(&::function)>(dlsym(library, #function));                    \
    loaded.complete = loaded.complete && loaded.functions.function != nullptr;
    PIXELBLITTER_AV_FUNCTIONS(PIXELBLITTER_AV_FIND)
#undef PIXELBLITTER_AV_FIND
    return loaded;
}

} // namespace

const CodecLibrary* LoadedCodecLibrary() noexcept {
    static const Loaded sLoaded = Load();
    return sLoaded.complete ? &sLoaded.functions : nullptr;
}

} // namespace PixelBlitter::dv
