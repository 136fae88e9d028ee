# Files of this subsystem in the tintera_sync library.
target_sources(tintera_sync PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/VLApplicationInfo.cpp
  ${CMAKE_CURRENT_LIST_DIR}/VLFileDownload.cpp
  ${CMAKE_CURRENT_LIST_DIR}/VLFileDownloadManager.cpp
  ${CMAKE_CURRENT_LIST_DIR}/VLFileURLPolicy.cpp
  ${CMAKE_CURRENT_LIST_DIR}/VLNetworkError.cpp
  ${CMAKE_CURRENT_LIST_DIR}/VLReplyText.cpp
  ${CMAKE_CURRENT_LIST_DIR}/VLServiceSettings.cpp
  ${CMAKE_CURRENT_LIST_DIR}/VLSyncReply.cpp
  ${CMAKE_CURRENT_LIST_DIR}/VLSyncRequest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/VLSyncFileInfo.cpp
  ${CMAKE_CURRENT_LIST_DIR}/VLSyncSession.cpp
  ${CMAKE_CURRENT_LIST_DIR}/VLTransportSecurity.cpp
  ${CMAKE_CURRENT_LIST_DIR}/VLTransferPace.cpp
  ${CMAKE_CURRENT_LIST_DIR}/VLXMLDictionary.cpp
)

# The application's information dictionary, read by vlApplicationInfo().
qt_add_resources(tintera_sync tintera_application_info
  PREFIX /tintera
  BASE ${CMAKE_CURRENT_LIST_DIR}
  FILES ${CMAKE_CURRENT_LIST_DIR}/Info.plist)
