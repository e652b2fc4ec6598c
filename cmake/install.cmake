# What an installation has. The libraries stay here: their interface is not promised to anybody.
install(TARGETS tavrik make_recording)
if(TAVRIK_IMPORT)
  install(TARGETS import_recording)
endif()
if(TAVRIK_WINDOW)
  install(TARGETS tavrik_window LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/tavrik)
endif()

install(DIRECTORY man/ DESTINATION ${CMAKE_INSTALL_MANDIR}/man1
  FILES_MATCHING PATTERN "*.1")
install(DIRECTORY man/ DESTINATION ${CMAKE_INSTALL_MANDIR}/man5
  FILES_MATCHING PATTERN "*.5")
install(DIRECTORY completion/ DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)

# For those who use the program. Folders as here, as the documents name each other so.
install(FILES README.md CHANGELOG.md LICENSE graphics/FONTS-LICENSE
  DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(FILES docs/archive.md docs/formats.md docs/import.md docs/messages.md docs/method.md docs/reliability.md docs/viewer.md
  DESTINATION ${CMAKE_INSTALL_DOCDIR}/docs)
install(DIRECTORY docs/ DESTINATION ${CMAKE_INSTALL_DOCDIR}/docs
  FILES_MATCHING PATTERN "*.png" PATTERN "*.svg")
install(DIRECTORY examples DESTINATION ${CMAKE_INSTALL_DOCDIR} USE_SOURCE_PERMISSIONS)
