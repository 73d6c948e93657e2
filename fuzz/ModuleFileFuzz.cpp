// A module file that nobody checked: the input is the file. Every bitmap that its directory names is looked up and
// read.

#include "ModuleFile.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto module = WindowsApi::ModuleFile::Parse({data, data + size});
    if (!module) {
        return 0;
    }
    const WindowsApi::ResourceName bitmaps{{}, 2};
    unsigned sum = 0;
    int left = 64; // names may repeat thousands of times
    for (const WindowsApi::ResourceName& name : module->NamesOf(bitmaps)) {
        if (left-- == 0) {
            break;
        }
        if (const auto bytes = module->Find(bitmaps, name); bytes && !bytes->empty()) {
            sum += bytes->front() + bytes->back();
        }
    }
    return sum == 0xFFFFFFFF ? -1 : 0;
}
