# Common settings of every target of the project: warnings and the precompiled Qt headers.
function(mediamodel_setup_target target)
    target_compile_options(${target} PRIVATE -Wall -Wextra)
    target_compile_definitions(${target} PRIVATE QT_NO_CAST_FROM_BYTEARRAY)
    target_precompile_headers(${target} PRIVATE
        <QtCore/QObject>
        <QtCore/QString>
        <QtCore/QList>
        <QtCore/QMap>
        <QtCore/QHash>
        <QtCore/QVariant>
        <QtCore/QSharedPointer>
        <QtCore/QMutex>
        <QtCore/QDebug>)
endfunction()

set(MEDIAMODEL_LSAN_OPTIONS "suppressions=${PROJECT_SOURCE_DIR}/tests/sanitizers/lsan.supp")

# A QtTest executable registered with CTest under its own name.
function(mediamodel_add_test name)
    cmake_parse_arguments(ARG "" "" "SOURCES;LIBRARIES" ${ARGN})
    add_executable(${name} ${ARG_SOURCES})
    target_link_libraries(${name} PRIVATE Qt6::Test ${ARG_LIBRARIES})
    mediamodel_setup_target(${name})
    if("thread" IN_LIST MEDIAMODEL_SANITIZE)
        # Qt's recursive mutex made visible to ThreadSanitizer (see the file).
        target_sources(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests/sanitizers/tsanrecursivemutex.cpp)
        target_link_libraries(${name} PRIVATE ${CMAKE_DL_LIBS})
        set_target_properties(${name} PROPERTIES ENABLE_EXPORTS ON)
    endif()
    add_test(NAME ${name} COMMAND ${name})
    # The suppressions are read by sanitizer builds only: leaks of Qt's, not the project's.
    set_tests_properties(${name} PROPERTIES ENVIRONMENT
        "QT_QPA_PLATFORM=offscreen;LSAN_OPTIONS=${MEDIAMODEL_LSAN_OPTIONS}")
endfunction()

# A library of the platform layer: shared (process-wide singletons must exist once), with its
# folder and, given EXPORT_BASE, its generated export header on the include path.
function(mediamodel_add_platform_library name alias)
    cmake_parse_arguments(ARG "" "EXPORT_BASE" "SOURCES" ${ARGN})
    add_library(${name} SHARED ${ARG_SOURCES})
    add_library(${alias} ALIAS ${name})
    target_include_directories(${name} PUBLIC $<BUILD_INTERFACE:${CMAKE_CURRENT_SOURCE_DIR}>)
    if(ARG_EXPORT_BASE)
        include(GenerateExportHeader)
        generate_export_header(${name} BASE_NAME ${ARG_EXPORT_BASE})
        target_include_directories(${name} PUBLIC $<BUILD_INTERFACE:${CMAKE_CURRENT_BINARY_DIR}>)
    endif()
    mediamodel_setup_target(${name})
endfunction()
