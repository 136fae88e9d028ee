# Files of this subsystem in the tintera_sync library.
target_sources(tintera_sync PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/VLFandeckListing.cpp
  ${CMAKE_CURRENT_LIST_DIR}/VLFileTrust.cpp
  ${CMAKE_CURRENT_LIST_DIR}/VLPreferencesInfo.cpp
  ${CMAKE_CURRENT_LIST_DIR}/VLSelectedOnlyWarning.cpp
  ${CMAKE_CURRENT_LIST_DIR}/VLSyncAdvice.cpp
  ${CMAKE_CURRENT_LIST_DIR}/VLSyncInfo.cpp
  ${CMAKE_CURRENT_LIST_DIR}/VLSyncManager.cpp
  ${CMAKE_CURRENT_LIST_DIR}/VLSyncManager.h
  ${CMAKE_CURRENT_LIST_DIR}/VLSyncManagerDefaults.cpp
  ${CMAKE_CURRENT_LIST_DIR}/VLSyncManagerDownload.cpp
  ${CMAKE_CURRENT_LIST_DIR}/VLSyncManagerPaths.cpp
  ${CMAKE_CURRENT_LIST_DIR}/VLSyncManagerRefusedDownload.cpp
  ${CMAKE_CURRENT_LIST_DIR}/VLSyncManagerPlan.cpp
  ${CMAKE_CURRENT_LIST_DIR}/VLSyncManagerSteps.cpp
  ${CMAKE_CURRENT_LIST_DIR}/VLSyncPlan.cpp
  ${CMAKE_CURRENT_LIST_DIR}/VLSyncRun.cpp
  ${CMAKE_CURRENT_LIST_DIR}/VLSyncRunReport.cpp
  ${CMAKE_CURRENT_LIST_DIR}/VLSyncStallWatchdog.cpp
)

# The logo shown when no device image is known, and the image the device shows while it syncs.
# Compressed with zlib, which the PNG decoder has loaded anyway, rather than zstd: decompressing the
# bitmap at each sync would otherwise keep 0.2 MB of the zstd library resident in the tray.
qt_add_resources(tintera_sync tintera_engine_resources
  PREFIX /
  OPTIONS --no-zstd
  BASE ${CMAKE_CURRENT_LIST_DIR}/resources
  FILES ${CMAKE_CURRENT_LIST_DIR}/resources/TINTERA_logo.png ${CMAKE_CURRENT_LIST_DIR}/resources/syncscreen.bmp)

# The engine's headers name nothing of the device and export layers, whose files define parts of
# the coordinator: whoever includes the coordinator does not get those layers with it.
file(GLOB tintera_engine_headers ${CMAKE_CURRENT_LIST_DIR}/*.h)
foreach(header IN LISTS tintera_engine_headers)
  file(STRINGS ${header} included REGEX "^#include \"")
  foreach(line IN LISTS included)
    string(REGEX REPLACE "^#include \"([^\"]+)\".*" "\\1" name "${line}")
    foreach(layer device export)
      if(EXISTS ${CMAKE_CURRENT_LIST_DIR}/../${layer}/${name})
        message(FATAL_ERROR "${header} includes ${name} of src/${layer}")
      endif()
    endforeach()
  endforeach()
endforeach()
