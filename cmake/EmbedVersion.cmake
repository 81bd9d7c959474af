# qk_embed_version(<target> <major> <minor> <patch> <build>)
#
# Gives an executable the version that qk_app_version reads back: an ELF note with the owner "QK",
# the type 1 and two 32-bit words (major << 16 | minor, patch << 16 | build), in a section of its
# own (".note.qk.version"), from a source generated into the build folder. A program without it
# reads as "2.99.0.INTERNAL".
set(QK_VERSION_NOTE_TEMPLATE ${CMAKE_CURRENT_LIST_DIR}/version_note.cpp.in)

function(qk_embed_version target major minor patch build)
  foreach(part major minor patch build)
    if(NOT "${${part}}" MATCHES "^[0-9]+$" OR ${${part}} GREATER 65535)
      message(FATAL_ERROR "qk_embed_version: ${part} of ${target} must be 0 to 65535, not '${${part}}'")
    endif()
  endforeach()
  set(QK_VERSION_MOST "(${major}u << 16 | ${minor}u)")
  set(QK_VERSION_LEAST "(${patch}u << 16 | ${build}u)")
  set(QK_VERSION_TEXT "${major}.${minor}.${patch}.${build}")
  set(source ${CMAKE_CURRENT_BINARY_DIR}/${target}_version_note.cpp)
  configure_file(${QK_VERSION_NOTE_TEMPLATE} ${source} @ONLY)
  target_sources(${target} PRIVATE ${source})
endfunction()
