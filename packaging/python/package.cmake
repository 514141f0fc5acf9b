# The Debian package python3-dwmux, the component "python": the package for Python, which every architecture shares.
set(python_packages lib/python3/dist-packages)
set(python_documents ${CMAKE_INSTALL_DATADIR}/doc/python3-dwmux)

# Only a package installs it: what is installed by hand comes through pip.
install(DIRECTORY ${CMAKE_SOURCE_DIR}/python/src/dwmux DESTINATION ${python_packages} COMPONENT python EXCLUDE_FROM_ALL
  FILES_MATCHING PATTERN *.py PATTERN py.typed PATTERN __pycache__ EXCLUDE)
configure_file(python/METADATA.in ${CMAKE_CURRENT_BINARY_DIR}/python/METADATA @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/python/METADATA python/INSTALLER
  DESTINATION ${python_packages}/dwmux-${PROJECT_VERSION}.dist-info COMPONENT python EXCLUDE_FROM_ALL)
install(FILES ${CMAKE_SOURCE_DIR}/LICENSE DESTINATION ${python_documents} RENAME copyright COMPONENT python
  EXCLUDE_FROM_ALL)
install(FILES ${CMAKE_SOURCE_DIR}/examples/python/mux_client.py DESTINATION ${python_documents}/examples
  COMPONENT python EXCLUDE_FROM_ALL)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/daemon/changelog.gz DESTINATION ${python_documents} COMPONENT python
  EXCLUDE_FROM_ALL)

list(APPEND CPACK_COMPONENTS_ALL python)
set(CPACK_DEBIAN_PYTHON_PACKAGE_NAME python3-dwmux)
set(CPACK_DEBIAN_PYTHON_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_PYTHON_PACKAGE_SECTION python)
set(CPACK_DEBIAN_PYTHON_PACKAGE_SHLIBDEPS OFF)
set(CPACK_DEBIAN_PYTHON_DEBUGINFO_PACKAGE OFF)
set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS "python3:any (>= 3.11)")
set(CPACK_DEBIAN_PYTHON_PACKAGE_SUGGESTS "dw-hal-mux-brenk-tools, python3-jwcrypto")
set(CPACK_DEBIAN_PYTHON_PACKAGE_CONTROL_EXTRA
  ${CMAKE_CURRENT_SOURCE_DIR}/python/postinst
  ${CMAKE_CURRENT_SOURCE_DIR}/python/prerm)
set(CPACK_COMPONENT_PYTHON_DESCRIPTION
"client of the Mux for electronic door locks (Python 3)
The package dwmux opens and closes locks, reads their status, keeps their
whitelists and delivers the events of card readers. It has a client for threads
and one for asyncio, sends each gateway one request at a time, never sends a
request twice and reconnects by itself.")
