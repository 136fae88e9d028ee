# Installs into a scratch prefix and checks that the program, the desktop entry, the icons and the
# help document land where the desktop looks for them.
#   cmake -DBUILD_DIR=... -DPREFIX=... -P CheckInstall.cmake
file(REMOVE_RECURSE "${PREFIX}")
execute_process(COMMAND ${CMAKE_COMMAND} --install "${BUILD_DIR}" --prefix "${PREFIX}" --component VelmoraSync
                RESULT_VARIABLE result OUTPUT_QUIET)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "cmake --install failed: ${result}")
endif()
foreach(path
    bin/VelmoraSync
    share/applications/com.velmora.VelmoraSync.desktop
    share/icons/hicolor/22x22/apps/tintera-sync.png
    share/icons/hicolor/256x256/apps/tintera-sync.png
    share/VelmoraSync/TINTERA_Sync_Utility_help.pdf)
  if(NOT EXISTS "${PREFIX}/${path}")
    message(FATAL_ERROR "not installed: ${path}")
  endif()
endforeach()
file(READ "${PREFIX}/share/applications/com.velmora.VelmoraSync.desktop" entry)
if(NOT entry MATCHES "MimeType=x-scheme-handler/x-tintera-sync;")
  message(FATAL_ERROR "the desktop entry does not register the URL scheme")
endif()
if(NOT entry MATCHES "Exec=\"${PREFIX}/bin/VelmoraSync\" %u")
  message(FATAL_ERROR "the desktop entry does not start the installed program:\n${entry}")
endif()
find_program(VALIDATE desktop-file-validate)
if(VALIDATE)
  execute_process(COMMAND ${VALIDATE} "${PREFIX}/share/applications/com.velmora.VelmoraSync.desktop"
                  RESULT_VARIABLE result OUTPUT_VARIABLE out ERROR_VARIABLE out)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "desktop-file-validate: ${out}")
  endif()
endif()
