# Files of this subsystem in the tintera_sync library.
target_sources(tintera_sync PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/KDCommandArgumentForKey.cpp
  ${CMAKE_CURRENT_LIST_DIR}/VLAudioNotes.cpp
  ${CMAKE_CURRENT_LIST_DIR}/VLDeviceCommandManager.cpp
  ${CMAKE_CURRENT_LIST_DIR}/VLDeviceSettings.cpp
  ${CMAKE_CURRENT_LIST_DIR}/VLDeviceVocabulary.cpp
  ${CMAKE_CURRENT_LIST_DIR}/VLSyncManagerDevice.cpp
  ${CMAKE_CURRENT_LIST_DIR}/VLSyncManagerDeviceFiles.cpp
)
