# find_package(pci_tarn) gives the target pci_tarn::pci_tarn. cJSON's functions are in the same
# library; their headers are pci_tarn/cjson/cJSON.h and pci_tarn/cjson/cJSON_Utils.h.
include(${CMAKE_CURRENT_LIST_DIR}/pci_tarn-targets.cmake)

# The targets name the import library of the compiler that built the DLL. Compilers that work as
# MSVC does have one of their own.
get_target_property(_pci_tarn_configs pci_tarn::pci_tarn IMPORTED_CONFIGURATIONS)
if(WIN32 AND (MSVC OR "${CMAKE_C_SIMULATE_ID}${CMAKE_CXX_SIMULATE_ID}" MATCHES "MSVC"))
  foreach(_pci_tarn_config IN LISTS _pci_tarn_configs)
    get_target_property(_pci_tarn_library pci_tarn::pci_tarn IMPORTED_IMPLIB_${_pci_tarn_config})
    get_filename_component(_pci_tarn_library "${_pci_tarn_library}" DIRECTORY)
    set_target_properties(pci_tarn::pci_tarn PROPERTIES
      IMPORTED_IMPLIB_${_pci_tarn_config} "${_pci_tarn_library}/pci_tarn.lib")
  endforeach()
  unset(_pci_tarn_library)
  unset(_pci_tarn_config)
endif()
unset(_pci_tarn_configs)
if(WIN32)
  set_property(TARGET pci_tarn::pci_tarn APPEND PROPERTY
    INTERFACE_COMPILE_DEFINITIONS CJSON_IMPORT_SYMBOLS)
endif()
