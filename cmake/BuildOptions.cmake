# One interface target carries what every target of the project is compiled with.
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_C_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/lib)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)
# Installed libraries find each other beside themselves, wherever the tree is put.
set(CMAKE_INSTALL_RPATH "$ORIGIN;$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")

find_program(VF_CCACHE ccache)
if(VF_CCACHE)
    set(CMAKE_C_COMPILER_LAUNCHER ${VF_CCACHE})
    set(CMAKE_CXX_COMPILER_LAUNCHER ${VF_CCACHE})
endif()

add_library(vf_build_options INTERFACE)
target_compile_options(vf_build_options INTERFACE
    -Wall -Wextra -Wpedantic -Werror -Wshadow -Wcast-align -Woverloaded-virtual -Wundef -Wvla
    # Interfaces have no virtual destructor: it would take two table slots where the layout has one.
    -Wno-non-virtual-dtor -Wno-delete-non-virtual-dtor
    # Some results are fixed to the bit, so a multiplication and an addition must never be fused behind our back.
    -ffp-contract=off)
if(VF_SANITIZE)
    target_compile_options(vf_build_options INTERFACE -fsanitize=${VF_SANITIZE} -fno-omit-frame-pointer
        -fno-sanitize-recover=all
        # Half the time of a build at -O2 with all debug information; reports need lines only.
        -O1 -g1)
    target_link_options(vf_build_options INTERFACE -fsanitize=${VF_SANITIZE})
    string(MAKE_C_IDENTIFIER "${VF_SANITIZE}" _vf_sanitize_name)
    target_compile_definitions(vf_build_options INTERFACE VF_SANITIZE_${_vf_sanitize_name}=1)
endif()
