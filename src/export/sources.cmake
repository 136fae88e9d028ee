# Files of this subsystem in the tintera_sync library.
target_sources(tintera_sync PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/VLASEWriter.cpp
  ${CMAKE_CURRENT_LIST_DIR}/VLCGATSWriter.cpp
  ${CMAKE_CURRENT_LIST_DIR}/VLCSVWriter.cpp
  ${CMAKE_CURRENT_LIST_DIR}/VLExportController.cpp
  ${CMAKE_CURRENT_LIST_DIR}/VLExportTarget.cpp
  ${CMAKE_CURRENT_LIST_DIR}/VLFandeckDocumentCache.cpp
  ${CMAKE_CURRENT_LIST_DIR}/VLGPLWriter.cpp
  ${CMAKE_CURRENT_LIST_DIR}/VLMatchEntry.cpp
  ${CMAKE_CURRENT_LIST_DIR}/VLMatchExportFormat.cpp
  ${CMAKE_CURRENT_LIST_DIR}/VLMatchRecord.cpp
  ${CMAKE_CURRENT_LIST_DIR}/VLMatchRecordWriter.cpp
  ${CMAKE_CURRENT_LIST_DIR}/VLSyncManagerFandeckIdentities.cpp
  ${CMAKE_CURRENT_LIST_DIR}/VLMatchesRead.cpp
  ${CMAKE_CURRENT_LIST_DIR}/VLSyncManagerFandecks.cpp
  ${CMAKE_CURRENT_LIST_DIR}/VLZip.cpp
)
# CGATS is written through Little CMS's IT8 functions.
target_link_libraries(tintera_sync PRIVATE PkgConfig::LCMS2)
