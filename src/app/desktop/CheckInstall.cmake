# Installs into a scratch prefix, as "make install" does, and checks that the programs, the desktop
# entry, the icons, the help document, the man pages, the shell completions, the AppStream metadata
# and the emulators land where the desktop, the shells and man look for them.
#   cmake -DBUILD_DIR=... -DPREFIX=... -P CheckInstall.cmake
file(REMOVE_RECURSE "${PREFIX}")
execute_process(COMMAND ${CMAKE_COMMAND} --install "${BUILD_DIR}" --prefix "${PREFIX}"
                RESULT_VARIABLE result OUTPUT_QUIET)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "cmake --install failed: ${result}")
endif()
foreach(path
    bin/VelmoraSync
    share/applications/com.velmora.VelmoraSync.desktop
    share/icons/hicolor/22x22/apps/tintera-sync.png
    share/icons/hicolor/256x256/apps/tintera-sync.png
    share/VelmoraSync/TINTERA_Sync_Utility_help.pdf
    bin/tintera
    share/man/man1/tintera.1.gz
    share/man/man1/VelmoraSync.1.gz
    share/bash-completion/completions/tintera
    share/zsh/site-functions/_tintera
    share/fish/vendor_completions.d/tintera.fish
    share/metainfo/com.velmora.VelmoraSync.metainfo.xml
    share/doc/tintera-sync/copyright
    bin/tintera-devsim
    bin/tintera-devctl
    bin/tintera-cloudsim
    bin/tintera-catalog
    share/man/man1/tintera-devsim.1.gz)
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
