# Files of this subsystem in the tintera_sync library.
target_sources(tintera_sync PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/VLExportController.cpp
  ${CMAKE_CURRENT_LIST_DIR}/VLSyncManagerFandecks.cpp
  ${CMAKE_CURRENT_LIST_DIR}/VLZip.cpp
)
