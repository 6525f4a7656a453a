# The media layer's own texts (looked up by id with qtTrId), compiled to .qm at build time and
# embedded in the library under :/mediamodel/i18n, where MediaTranslator loads them from.
# Included from the library's folder: the .qm files must be made in the directory of the target
# that embeds them.
set(MEDIAMODEL_TS_FILES ${CMAKE_CURRENT_SOURCE_DIR}/translations/mediamodel_en.ts)

# Debian ships the lrelease tool (qt6-l10n-tools) apart from Qt's CMake package for it
# (qt6-tools-dev), so the tool is run directly.
find_program(MEDIAMODEL_LRELEASE NAMES lrelease-qt6 lrelease
    HINTS /usr/lib/qt6/bin "${QT6_INSTALL_PREFIX}/${QT6_INSTALL_BINS}"
    REQUIRED)
set(MEDIAMODEL_QM_FILES "")
foreach(ts_file IN LISTS MEDIAMODEL_TS_FILES)
    get_filename_component(qm_name "${ts_file}" NAME_WE)
    set(qm_file "${CMAKE_CURRENT_BINARY_DIR}/${qm_name}.qm")
    add_custom_command(OUTPUT "${qm_file}"
        COMMAND "${MEDIAMODEL_LRELEASE}" -idbased -silent "${ts_file}" -qm "${qm_file}"
        DEPENDS "${ts_file}"
        VERBATIM)
    list(APPEND MEDIAMODEL_QM_FILES "${qm_file}")
endforeach()

qt_add_resources(mediamodel mediamodel_translations
    PREFIX /mediamodel/i18n
    BASE ${CMAKE_CURRENT_BINARY_DIR}
    FILES ${MEDIAMODEL_QM_FILES})
target_sources(mediamodel PRIVATE
    include/mediatranslator.h translations/mediatranslator.cpp)
