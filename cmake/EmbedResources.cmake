# vesca_embed(TARGET TABLE FILES file...)
#
# Adds to a target a generated source that defines the table Util::TABLE over the files, in their order. The
# table is declared in resources/EmbeddedFile.h. A cross build runs the generators through
# CMAKE_CROSSCOMPILING_EMULATOR.
function(vesca_embed TARGET TABLE)
  cmake_parse_arguments(ARG "" "" "FILES" ${ARGN})
  set(SOURCE ${CMAKE_CURRENT_BINARY_DIR}/${TABLE}.cpp)
  add_custom_command(
    OUTPUT ${SOURCE}
    COMMAND embed_files ${TABLE} ${SOURCE} ${ARG_FILES}
    DEPENDS embed_files ${ARG_FILES}
    COMMENT "Embedding ${TABLE}"
    VERBATIM)
  target_sources(${TARGET} PRIVATE ${SOURCE})
endfunction()
