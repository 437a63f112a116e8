# RDKit as Debian ships it: headers and libraries without a CMake package.
# Defines RDKit::<component> for the components used here, and RDKit_FOUND.
find_path(RDKit_INCLUDE_DIR NAMES GraphMol/RDKitBase.h PATH_SUFFIXES rdkit)
find_package(Boost REQUIRED COMPONENTS iostreams)

set(_rdkit_components
  RDGeneral RDGeometryLib GraphMol SmilesParse FileParsers SubstructMatch
  ForceField ForceFieldHelpers DistGeomHelpers MolTransforms FMCS)
set(_rdkit_required RDKit_INCLUDE_DIR)
foreach(_component IN LISTS _rdkit_components)
  find_library(RDKit_${_component}_LIBRARY NAMES RDKit${_component})
  list(APPEND _rdkit_required RDKit_${_component}_LIBRARY)
endforeach()

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(RDKit REQUIRED_VARS ${_rdkit_required})
mark_as_advanced(${_rdkit_required})

if(RDKit_FOUND)
  foreach(_component IN LISTS _rdkit_components)
    if(NOT TARGET RDKit::${_component})
      add_library(RDKit::${_component} UNKNOWN IMPORTED)
      set_target_properties(RDKit::${_component} PROPERTIES
        IMPORTED_LOCATION "${RDKit_${_component}_LIBRARY}"
        INTERFACE_INCLUDE_DIRECTORIES "${RDKit_INCLUDE_DIR}"
        INTERFACE_SYSTEM_INCLUDE_DIRECTORIES "${RDKit_INCLUDE_DIR}"
        INTERFACE_LINK_LIBRARIES "Boost::headers")
    endif()
  endforeach()
endif()
