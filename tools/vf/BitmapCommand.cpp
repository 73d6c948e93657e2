#include "BitmapImport.h"
#include "ExitCodes.h"
#include "Options.h"
#include "PictureCommands.h"
#include "Pixmaps.h"

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <type_traits>

namespace tool {
namespace {

struct CloseModule {
    void operator()(HMODULE module) const { FreeLibrary(module); }
};
using OpenModule = std::unique_ptr<std::remove_pointer_t<HMODULE>, CloseModule>;

OpenModule Open(const std::string& path) {
    if (!std::filesystem::exists(path)) {
        throw Failure(ExitCode::InputMissing, path + ": no such file");
    }
    OpenModule module(
        LoadLibraryExW(std::filesystem::path(path).u16string().c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE));
    if (!module) {
        throw Failure(ExitCode::InputBroken, path + ": no module of Windows");
    }
    return module;
}

/// A bitmap's header, which may lie at any address, and lie about anything.
std::optional<BITMAPINFOHEADER> HeaderOf(HMODULE module, LPCWSTR name) {
    const HRSRC resource = FindResourceW(module, name, RT_BITMAP);
    const void* data = LockResource(LoadResource(module, resource));
    BITMAPINFOHEADER header{};
    if (data == nullptr || SizeofResource(module, resource) < sizeof header) {
        return std::nullopt;
    }
    std::memcpy(&header, data, sizeof header);
    return header;
}

constexpr DWORD kRunLength4 = 2; // of 4 bits a pixel

std::string HeaderText(const std::optional<BITMAPINFOHEADER>& header) {
    if (!header) {
        return "no bitmap";
    }
    const bool isRunLength = header->biCompression == BI_RLE8 || header->biCompression == kRunLength4;
    return std::to_string(header->biWidth) + "x" + std::to_string(header->biHeight) + ", " +
           std::to_string(header->biBitCount) + " bits" + (isRunLength ? ", run-length encoded" : "");
}

/// Of other bitmaps the import takes the size alone.
bool IsConverted(const BITMAPINFOHEADER& header) {
    return (header.biBitCount == 4 && header.biCompression != kRunLength4) || header.biBitCount == 8 ||
           header.biBitCount == 24;
}

BOOL ListOne(HMODULE module, LPCWSTR, LPCWSTR name, LONG_PTR) {
    const std::string text = IS_INTRESOURCE(name) ? std::to_string(reinterpret_cast<std::uintptr_t>(name))
                                                  : '"' + std::filesystem::path(std::u16string(name)).string() + '"';
    std::printf("%-20s %s\n", text.c_str(), HeaderText(HeaderOf(module, name)).c_str());
    return TRUE;
}

} // namespace

void ShowBitmap(const BitmapArguments& arguments) {
    const LibraryGuard library;
    const OpenModule module = Open(arguments.module);
    if (arguments.id.empty()) {
        if (!EnumResourceNamesW(module.get(), RT_BITMAP, ListOne, 0)) {
            std::printf("no bitmaps\n");
        }
        return;
    }
    const auto id = ParseNumber(arguments.id);
    if (!id || *id > 0xFFFF) {
        throw Failure(ExitCode::Usage, arguments.id + ": bitmaps have numbers up to 65535");
    }
    const auto header = HeaderOf(module.get(), MAKEINTRESOURCEW(*id));
    if (header && !IsConverted(*header)) {
        throw Failure(ExitCode::ConversionRefused, arguments.module + ": bitmap " + arguments.id + " is " +
                                                       HeaderText(header) + ", which is not converted");
    }
    const LentTPix picture(Bmp2TPix(static_cast<unsigned short>(*id), module.get(), nullptr));
    if (!picture) {
        throw Failure(ExitCode::InputBroken, arguments.module + ": no bitmap " + arguments.id + " that can be read");
    }
    const Frame frame = CopyOf(**picture, zynmediatypes::kPixelAspectRatio_Square);
    const std::string written = WritePicture(arguments.output, frame);
    std::printf("%s: %dx%d\n", written.c_str(), WidthOf(frame), HeightOf(frame));
}

} // namespace tool
