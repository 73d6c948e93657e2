# add_platform_library(NAME SOURCES file... [PUBLIC target...] [PRIVATE target...])
#
# Builds one platform library: platform/NAME.h is its header, platform/NAME/ its sources. The target is platform::NAME,
# so that a suite that brings a library of its own swaps exactly that target.
function(add_platform_library NAME)
    cmake_parse_arguments(ARG "" "" "SOURCES;PUBLIC;PRIVATE" ${ARGN})
    add_library(${NAME} SHARED ${ARG_SOURCES})
    add_library(platform::${NAME} ALIAS ${NAME})
    set_target_properties(${NAME} PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR}
        EXPORT_NAME ${NAME})
    target_include_directories(${NAME}
        PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/platform> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/vf/platform>
        PRIVATE ${CMAKE_CURRENT_SOURCE_DIR})
    target_compile_features(${NAME} PUBLIC cxx_std_20)
    target_link_libraries(${NAME} PUBLIC ${ARG_PUBLIC} PRIVATE $<BUILD_INTERFACE:vf_build_options> ${ARG_PRIVATE})
    set_property(GLOBAL APPEND PROPERTY VF_INSTALLED_TARGETS ${NAME})
endfunction()
