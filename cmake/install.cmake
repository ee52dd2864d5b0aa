# What `cmake --install` and `cpack` put where: the library with its headers, import libraries and
# packages for CMake and pkg-config, the programs, the bindings, documentation and examples.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)
set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/pci_tarn)
set(doc_dir share/doc/pci-tarn)

install(TARGETS pci_tarn EXPORT pci_tarn
  RUNTIME DESTINATION bin LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/api/include/pci_tarn DESTINATION include
  FILES_MATCHING PATTERN "*.h")
# In a folder of our own, so that a cJSON of the system stays what it is.
install(FILES ${TARN_DEPS}/cjson/cJSON.h ${TARN_DEPS}/cjson/cJSON_Utils.h
  DESTINATION include/pci_tarn/cjson)

install(EXPORT pci_tarn NAMESPACE pci_tarn:: FILE pci_tarn-targets.cmake
  DESTINATION ${package_dir})
write_basic_package_version_file(${CMAKE_BINARY_DIR}/pci_tarn-config-version.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_SOURCE_DIR}/packaging/pci_tarn-config.cmake
  ${CMAKE_BINARY_DIR}/pci_tarn-config-version.cmake DESTINATION ${package_dir})

install(TARGETS tarn tarn-vcard RUNTIME DESTINATION bin)

if(WIN32)
  install(FILES ${TARN_MSVC_LIBRARY} ${TARN_EXPORT_DEF} DESTINATION ${CMAKE_INSTALL_LIBDIR})
  # tarn-vcard looks for its driver beside itself.
  install(FILES $<TARGET_FILE:tarn_vcard_driver> ${CMAKE_BINARY_DIR}/bin/tarn_vcard.inf
    DESTINATION bin)
  set(python_dir python)
else()
  set_target_properties(tarn tarn-vcard PROPERTIES
    INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")
  file(RELATIVE_PATH prefix_from_pc /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
  string(REGEX REPLACE "/$" "" prefix_from_pc ${prefix_from_pc})
  configure_file(${PROJECT_SOURCE_DIR}/packaging/pci_tarn.pc.in
    ${CMAKE_BINARY_DIR}/pci_tarn.pc @ONLY)
  install(FILES ${CMAKE_BINARY_DIR}/pci_tarn.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
  set(python_dir lib/python3/dist-packages)
endif()

install(DIRECTORY ${PROJECT_SOURCE_DIR}/bindings/python/pci_tarn DESTINATION ${python_dir}
  FILES_MATCHING PATTERN "*.py" PATTERN "py.typed" PATTERN "__pycache__" EXCLUDE)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/bindings/csharp/ DESTINATION share/pci_tarn/csharp
  FILES_MATCHING PATTERN "*.cs")

install(FILES ${PROJECT_SOURCE_DIR}/README.md ${PROJECT_SOURCE_DIR}/CHANGELOG.md
  DESTINATION ${doc_dir})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/docs/ DESTINATION ${doc_dir}/docs
  FILES_MATCHING PATTERN "*.md")
install(FILES ${PROJECT_SOURCE_DIR}/bindings/python/README.md
  DESTINATION ${doc_dir}/bindings/python)
install(FILES ${PROJECT_SOURCE_DIR}/bindings/csharp/README.md
  DESTINATION ${doc_dir}/bindings/csharp)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/examples DESTINATION ${doc_dir}
  PATTERN "CMakeLists.txt" EXCLUDE)
install(FILES ${PROJECT_SOURCE_DIR}/examples/cmake_consumer/CMakeLists.txt
  DESTINATION ${doc_dir}/examples/cmake_consumer)

# The licences of what is compiled in.
file(READ ${TARN_DEPS}/cjson/LICENSE cjson_licence)
file(READ ${TARN_DEPS}/pugixml/LICENSE.md pugixml_licence)
set(cli11_licence "BSD-3-Clause, see the packages of libcli11-dev\n")
if(EXISTS /usr/share/doc/libcli11-dev/copyright)
  file(READ /usr/share/doc/libcli11-dev/copyright cli11_licence)
endif()
set(third_party ${CMAKE_BINARY_DIR}/THIRD-PARTY.txt)
file(WRITE ${third_party}
  "cJSON, in the library:\n\n${cjson_licence}\n\n"
  "pugixml, in tarn and tarn-vcard:\n\n${pugixml_licence}\n\n"
  "CLI11, in tarn and tarn-vcard:\n\n${cli11_licence}\n")
install(FILES ${third_party} DESTINATION ${doc_dir})

# ---- packages: `cpack` in the build folder, or the target `package` -----------------------------
set(CPACK_PACKAGE_NAME pci-tarn)
set(CPACK_PACKAGE_VENDOR pci_tarn)
set(CPACK_PACKAGE_CONTACT "pci_tarn <pci_tarn@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Host library of a PCI Express EtherCAT master card")
set(CPACK_PACKAGE_DESCRIPTION "The library with headers, the tool tarn, a virtual card, and
bindings for Python and C#. Programs start a bus with an ENI file and exchange its process data.")
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGE_DIRECTORY ${CMAKE_BINARY_DIR}/packages)
if(WIN32)
  set(CPACK_GENERATOR ZIP)
  set(CPACK_SYSTEM_NAME win64)
else()
  set(CPACK_GENERATOR DEB)
  set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
  set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
  set(CPACK_DEBIAN_PACKAGE_SECTION libs)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
  set(CPACK_DEBIAN_PACKAGE_SUGGESTS "python3, mono-runtime")
  # Other packages find the library in this one, and the loader's cache learns of it.
  set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
  set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
endif()
include(CPack)
