# Installs the media layer and, beside it as the reference host, the platform libraries, with a
# CMake package: find_package(MediaModel) gives the imported target MediaModel::MediaModel (and
# MediaModel::Platform<Name> for the host libraries it links). Headers go flat into
# include/mediamodel, since the libraries include each other's headers by file name.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(MEDIAMODEL_INSTALL_INCLUDEDIR ${CMAKE_INSTALL_INCLUDEDIR}/mediamodel)
set(MEDIAMODEL_INSTALL_CMAKEDIR ${CMAKE_INSTALL_LIBDIR}/cmake/MediaModel)

# The headers a target lists among its sources, private ones (_p.h) left out, plus the headers
# its build generates (export macros, protocol messages).
function(mediamodel_install_headers target)
    cmake_parse_arguments(ARG "" "" "GENERATED" ${ARGN})
    get_target_property(sources ${target} SOURCES)
    get_target_property(sourceDir ${target} SOURCE_DIR)
    get_target_property(binaryDir ${target} BINARY_DIR)
    set(headers)
    foreach(source IN LISTS sources)
        if(source MATCHES "\\.h$" AND NOT source MATCHES "_p\\.h$")
            if(NOT IS_ABSOLUTE "${source}")
                set(source "${sourceDir}/${source}")
            endif()
            list(APPEND headers "${source}")
        endif()
    endforeach()
    foreach(generated IN LISTS ARG_GENERATED)
        list(APPEND headers "${binaryDir}/${generated}")
    endforeach()
    install(FILES ${headers} DESTINATION ${MEDIAMODEL_INSTALL_INCLUDEDIR})
endfunction()

# target, its name in the package, and the headers its build generates (comma-separated).
set(MEDIAMODEL_INSTALLED_LIBRARIES
    "platform_common|PlatformCommon|"
    "platform_log|PlatformLog|"
    "platform_proto|PlatformProto|im.pb.h,im_chat.pb.h"
    "platform_storage|PlatformStorage|storage_export.h"
    "platform_network|PlatformNetwork|network_export.h"
    "platform_file|PlatformFile|file_export.h"
    "platform_audio|PlatformAudio|"
    "platform_model|PlatformModel|"
    "mediamodel|MediaModel|mediamodel_export.h")

set(installedTargets)
foreach(entry IN LISTS MEDIAMODEL_INSTALLED_LIBRARIES)
    string(REPLACE "|" ";" fields "${entry}")
    list(GET fields 0 target)
    list(GET fields 1 exportName)
    list(GET fields 2 generated)
    string(REPLACE "," ";" generated "${generated}")
    set_target_properties(${target} PROPERTIES
        EXPORT_NAME ${exportName}
        # The libraries find each other beside themselves wherever the prefix is moved.
        INSTALL_RPATH "$ORIGIN")
    target_include_directories(${target} PUBLIC
        $<INSTALL_INTERFACE:${MEDIAMODEL_INSTALL_INCLUDEDIR}>)
    mediamodel_install_headers(${target} GENERATED ${generated})
    list(APPEND installedTargets ${target})
endforeach()

install(TARGETS ${installedTargets}
    EXPORT MediaModelTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(EXPORT MediaModelTargets
    NAMESPACE MediaModel::
    DESTINATION ${MEDIAMODEL_INSTALL_CMAKEDIR})

configure_package_config_file(
    ${CMAKE_CURRENT_LIST_DIR}/MediaModelConfig.cmake.in
    ${CMAKE_CURRENT_BINARY_DIR}/MediaModelConfig.cmake
    INSTALL_DESTINATION ${MEDIAMODEL_INSTALL_CMAKEDIR})
write_basic_package_version_file(
    ${CMAKE_CURRENT_BINARY_DIR}/MediaModelConfigVersion.cmake
    COMPATIBILITY SameMinorVersion)
install(FILES
    ${CMAKE_CURRENT_BINARY_DIR}/MediaModelConfig.cmake
    ${CMAKE_CURRENT_BINARY_DIR}/MediaModelConfigVersion.cmake
    DESTINATION ${MEDIAMODEL_INSTALL_CMAKEDIR})
