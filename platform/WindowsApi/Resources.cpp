#include "HandleTable.h"
#include "ModuleFile.h"
#include "ResourceName.h"
#include "WindowsApi_Resources.h"
#include "zyncore/Immortal.h"

#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <mutex>
#include <new>

namespace WindowsApi {
namespace {

/// Far above what modules are, and below what would drive a process out of memory unnoticed.
constexpr std::uintmax_t kLargestModule = std::uintmax_t{1} << 30;

std::optional<std::vector<std::uint8_t>> ReadFile(const std::filesystem::path& path) {
    std::error_code error;
    const bool isFile = std::filesystem::is_regular_file(path, error);
    const std::uintmax_t size = isFile ? std::filesystem::file_size(path, error) : 0;
    if (!isFile || error || size > kLargestModule) {
        return std::nullopt;
    }
    std::vector<std::uint8_t> bytes(static_cast<std::size_t>(size));
    std::ifstream file(path, std::ios::binary);
    if (!file.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()))) {
        return std::nullopt;
    }
    return bytes;
}

struct Key {
    ResourceName type;
    ResourceName name;

    auto operator<=>(const Key&) const = default;
};

/// A resource as its handle knows it. The bytes are those of a module file, or its own.
struct Resource {
    HMODULE module = nullptr;
    std::span<const std::uint8_t> bytes;
    std::vector<std::uint8_t> owned;
};

/// Modules that were opened, and resources that have handles.
class Modules {
public:
    HMODULE Add(ModuleFile&& inFile) {
        const std::lock_guard lock(mMutex);
        return static_cast<HMODULE>(mFiles.Add(std::make_unique<ModuleFile>(std::move(inFile))));
    }

    bool Remove(HMODULE inModule) {
        const std::lock_guard lock(mMutex);
        const auto file = mFiles.Take(inModule);
        if (file) {
            Forget(mFound, inModule);
            Forget(mRegistered, inModule);
        }
        return file.has_value();
    }

    bool Register(HMODULE inModule, Key inKey, std::span<const std::uint8_t> inBytes) {
        const std::lock_guard lock(mMutex);
        if (const auto* file = mFiles.Find(inModule); file != nullptr && (*file)->Find(inKey.type, inKey.name)) {
            return false;
        }
        const auto [place, isNew] = mRegistered[inModule].try_emplace(std::move(inKey));
        if (!isNew) {
            return false;
        }
        try {
            Resource resource{inModule, {}, {inBytes.begin(), inBytes.end()}};
            resource.bytes = resource.owned; // moving keeps where they are
            place->second = mResources.Add(std::move(resource));
        } catch (...) {
            mRegistered[inModule].erase(place);
            throw;
        }
        return true;
    }

    void Unregister(HMODULE inModule) {
        const std::lock_guard lock(mMutex);
        Forget(mRegistered, inModule);
    }

    HRSRC Find(HMODULE inModule, const Key& inKey) {
        const std::lock_guard lock(mMutex);
        for (const Handles* handles : {&mFound, &mRegistered}) {
            const auto module = handles->find(inModule);
            if (module != handles->end()) {
                if (const auto found = module->second.find(inKey); found != module->second.end()) {
                    return static_cast<HRSRC>(found->second);
                }
            }
        }
        const auto* file = mFiles.Find(inModule);
        const auto bytes = file != nullptr ? (*file)->Find(inKey.type, inKey.name) : std::nullopt;
        if (!bytes) {
            return nullptr;
        }
        HANDLE& handle = mFound[inModule][inKey];
        try {
            handle = mResources.Add({inModule, *bytes, {}});
        } catch (...) {
            mFound[inModule].erase(inKey);
            throw;
        }
        return static_cast<HRSRC>(handle);
    }

    /// The bytes of a resource of any module, or of one; empty with a null address when there is none.
    std::span<const std::uint8_t> BytesOf(HANDLE inResource) {
        const std::lock_guard lock(mMutex);
        const Resource* resource = mResources.Find(inResource);
        return resource != nullptr ? resource->bytes : std::span<const std::uint8_t>{};
    }
    std::span<const std::uint8_t> BytesOf(HMODULE inModule, HANDLE inResource) {
        const std::lock_guard lock(mMutex);
        const Resource* resource = mResources.Find(inResource);
        return resource != nullptr && resource->module == inModule ? resource->bytes : std::span<const std::uint8_t>{};
    }

    std::vector<ResourceName> NamesOf(HMODULE inModule, const ResourceName& inType) {
        const std::lock_guard lock(mMutex);
        std::vector<ResourceName> names;
        if (const auto* file = mFiles.Find(inModule)) {
            names = (*file)->NamesOf(inType);
        }
        if (const auto module = mRegistered.find(inModule); module != mRegistered.end()) {
            for (const auto& [key, handle] : module->second) {
                if (key.type == inType) {
                    names.push_back(key.name);
                }
            }
        }
        return names;
    }

private:
    using Handles = std::map<HMODULE, std::map<Key, HANDLE>>;

    void Forget(Handles& handles, HMODULE inModule) {
        if (const auto module = handles.find(inModule); module != handles.end()) {
            for (const auto& [key, handle] : module->second) {
                mResources.Take(handle);
            }
            handles.erase(module);
        }
    }

    std::mutex mMutex;
    HandleTable<std::unique_ptr<ModuleFile>, HandleKind::Module> mFiles;
    HandleTable<Resource, HandleKind::Resource> mResources;
    Handles mFound;      ///< in module files, so that looking again gives the same handle
    Handles mRegistered; ///< by the program
};

Modules& TheModules() {
    static zyncore::detail::Immortal<Modules> sModules;
    return sModules.Get();
}

/// What the function answers, or its failure when memory is exhausted or a path is none.
template <class Function>
auto OrFailure(Function inFunction) noexcept -> decltype(inFunction()) {
    try {
        return inFunction();
    } catch (const std::exception&) {
        return {};
    }
}

} // namespace
} // namespace WindowsApi

using WindowsApi::OrFailure;
using WindowsApi::ResourceName;
using WindowsApi::TheModules;

HMODULE LoadLibraryExW(LPCWSTR inPath, HANDLE, DWORD inFlags) {
    return OrFailure([&]() -> HMODULE {
        if (inPath == nullptr || (inFlags & (LOAD_LIBRARY_AS_DATAFILE | LOAD_LIBRARY_AS_IMAGE_RESOURCE)) == 0) {
            return nullptr;
        }
        auto bytes = WindowsApi::ReadFile(std::filesystem::path(inPath));
        auto file = bytes ? WindowsApi::ModuleFile::Parse(std::move(*bytes)) : std::nullopt;
        return file ? TheModules().Add(std::move(*file)) : nullptr;
    });
}

BOOL FreeLibrary(HMODULE inModule) {
    return TheModules().Remove(inModule) ? TRUE : FALSE;
}

HRSRC FindResourceW(HMODULE inModule, LPCWSTR inName, LPCWSTR inType) {
    return OrFailure([&] { return TheModules().Find(inModule, {ResourceName::Of(inType), ResourceName::Of(inName)}); });
}

DWORD SizeofResource(HMODULE inModule, HRSRC inResource) {
    return static_cast<DWORD>(TheModules().BytesOf(inModule, inResource).size());
}

HGLOBAL LoadResource(HMODULE inModule, HRSRC inResource) {
    return TheModules().BytesOf(inModule, inResource).data() != nullptr ? inResource : nullptr;
}

LPVOID LockResource(HGLOBAL inLoaded) {
    return const_cast<std::uint8_t*>(TheModules().BytesOf(inLoaded).data());
}

BOOL FreeResource(HGLOBAL) {
    return FALSE;
}

BOOL EnumResourceNamesW(HMODULE inModule, LPCWSTR inType, ENUMRESNAMEPROCW inFunction, LONG_PTR inParameter) {
    if (inFunction == nullptr) {
        return FALSE;
    }
    const auto names = OrFailure([&] { return TheModules().NamesOf(inModule, ResourceName::Of(inType)); });
    for (const ResourceName& name : names) { // without the lock: the function may find and load them
        if (!inFunction(inModule, inType, name.Get(), inParameter)) {
            return FALSE;
        }
    }
    return names.empty() ? FALSE : TRUE;
}

BOOL RegisterModuleResource(HMODULE inModule, LPCWSTR inName, LPCWSTR inType, LPCVOID inData, DWORD inSize) {
    return OrFailure([&]() -> BOOL {
        if (inData == nullptr || inSize == 0) {
            return FALSE;
        }
        const std::span bytes(static_cast<const std::uint8_t*>(inData), inSize);
        return TheModules().Register(inModule, {ResourceName::Of(inType), ResourceName::Of(inName)}, bytes) ? TRUE
                                                                                                            : FALSE;
    });
}

void UnregisterModuleResources(HMODULE inModule) {
    TheModules().Unregister(inModule);
}
