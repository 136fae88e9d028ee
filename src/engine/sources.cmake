# Files of this subsystem in the tintera_sync library.
target_sources(tintera_sync PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/VLFandeckListing.cpp
  ${CMAKE_CURRENT_LIST_DIR}/VLFileTrust.cpp
  ${CMAKE_CURRENT_LIST_DIR}/VLPreferencesInfo.cpp
  ${CMAKE_CURRENT_LIST_DIR}/VLSyncInfo.cpp
  ${CMAKE_CURRENT_LIST_DIR}/VLSyncManager.cpp
  ${CMAKE_CURRENT_LIST_DIR}/VLSyncManager.h
  ${CMAKE_CURRENT_LIST_DIR}/VLSyncManagerDefaults.cpp
  ${CMAKE_CURRENT_LIST_DIR}/VLSyncManagerDownload.cpp
  ${CMAKE_CURRENT_LIST_DIR}/VLSyncManagerPaths.cpp
  ${CMAKE_CURRENT_LIST_DIR}/VLSyncManagerSteps.cpp
  ${CMAKE_CURRENT_LIST_DIR}/VLSyncStallWatchdog.cpp
)

# The logo shown when no device image is known, and the image the device shows while it syncs.
qt_add_resources(tintera_sync tintera_engine_resources
  PREFIX /
  BASE ${CMAKE_CURRENT_LIST_DIR}/resources
  FILES ${CMAKE_CURRENT_LIST_DIR}/resources/TINTERA_logo.png ${CMAKE_CURRENT_LIST_DIR}/resources/syncscreen.bmp)
