# What Linux adds to each library that has a seam.

tessaly_backend(Authentication SOURCES PolkitAuthentication.cpp LIBRARIES Foundation PACKAGES systemd)
tessaly_backend(Bookmarks SOURCES DocumentPortal.cpp FileBookmarks.cpp PACKAGES systemd)
tessaly_backend(Device SOURCES FirmwareDevice.cpp)
tessaly_backend(Files
  SOURCES
    CopyItem.cpp DirectoryCursor.cpp DirectoryListener.cpp DirectoryListing.cpp InotifyChangeSource.cpp
    InotifyDirectorySource.cpp InotifyDirectorySourceSettling.cpp InotifyObjectSource.cpp LinuxFileManager.cpp
    NSFileCoordinator.cpp RemoveItem.cpp
  LIBRARIES Locks Text
  PACKAGES archive fmt)
tessaly_backend(Logging
  SOURCES JournalLogSink.cpp LinuxLogSinks.cpp StandardErrorLogSink.cpp
  PACKAGES systemd fmt)
tessaly_backend(Network
  SOURCES LinuxNetworkBackend.cpp MeteredWatch.cpp NetlinkSocket.cpp RouteTable.cpp
  LIBRARIES Logging
  PACKAGES systemd)
tessaly_backend(Pasteboard
  SOURCES DisplayPasteboard.cpp WaylandSelection.cpp X11Selection.cpp
  LIBRARIES Locks
  PACKAGES wayland xcb)
tessaly_backend(Power SOURCES BusPower.cpp Inhibitor.cpp LIBRARIES Foundation Locks PACKAGES systemd)
tessaly_backend(Settings
  SOURCES
    DelayedWork.cpp JournaledUserDefaults.cpp SettingsCheckpointer.cpp SettingsFileSystem.cpp SettingsFiles.cpp
    SettingsJournalFile.cpp SettingsKeysFile.cpp SettingsListFile.cpp SettingsStore.cpp SettingsStoreLists.cpp
    SettingsStoreLoading.cpp SettingsStoreRecovery.cpp SettingsStoreWriting.cpp SettingsWatcher.cpp
  LIBRARIES Logging)
