# qk_embed_version(<target> <major> <minor> <patch> <build>)
#
# Gives a program file the version that qk_module_version and qk_app_version read back. A program
# without it reads as "2.99.0.INTERNAL".
#
# On Windows: a VERSIONINFO resource (file and product version major.minor.patch.build, and the
# file's name in its string table), generated from version.rc.in into the build folder and compiled
# by the resource compiler (windres). On Linux: an ELF note with the owner "QK", the type 1 and two
# 32-bit words (major << 16 | minor, patch << 16 | build), in a section of its own
# (".note.qk.version"), from a source generated from version_note.cpp.in.
set(QK_VERSION_NOTE_TEMPLATE ${CMAKE_CURRENT_LIST_DIR}/version_note.cpp.in)
set(QK_VERSION_RESOURCE_TEMPLATE ${CMAKE_CURRENT_LIST_DIR}/version.rc.in)
if(WIN32)
  enable_language(RC)
endif()

function(qk_embed_version target major minor patch build)
  foreach(part major minor patch build)
    if(NOT "${${part}}" MATCHES "^[0-9]+$" OR ${${part}} GREATER 65535)
      message(FATAL_ERROR "qk_embed_version: ${part} of ${target} must be 0 to 65535, not '${${part}}'")
    endif()
  endforeach()
  set(QK_VERSION_TEXT "${major}.${minor}.${patch}.${build}")
  if(WIN32)
    get_target_property(type ${target} TYPE)
    get_target_property(QK_VERSION_NAME ${target} OUTPUT_NAME)
    if(NOT QK_VERSION_NAME)
      set(QK_VERSION_NAME ${target})
    endif()
    if(type STREQUAL "EXECUTABLE")
      set(QK_VERSION_FILE_TYPE VFT_APP)
      set(QK_VERSION_FILE ${QK_VERSION_NAME}.exe)
    else()
      set(QK_VERSION_FILE_TYPE VFT_DLL)
      set(QK_VERSION_FILE ${QK_VERSION_NAME}.dll)
    endif()
    set(QK_VERSION_COMMAS "${major},${minor},${patch},${build}")
    set(source ${CMAKE_CURRENT_BINARY_DIR}/${target}_version.rc)
    configure_file(${QK_VERSION_RESOURCE_TEMPLATE} ${source} @ONLY)
  else()
    set(QK_VERSION_MOST "(${major}u << 16 | ${minor}u)")
    set(QK_VERSION_LEAST "(${patch}u << 16 | ${build}u)")
    set(source ${CMAKE_CURRENT_BINARY_DIR}/${target}_version_note.cpp)
    configure_file(${QK_VERSION_NOTE_TEMPLATE} ${source} @ONLY)
  endif()
  target_sources(${target} PRIVATE ${source})
endfunction()
