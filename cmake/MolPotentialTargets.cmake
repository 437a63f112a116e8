# What every target of ours shares: language level, visibility, warnings, sanitizers.
add_library(molpotential_flags INTERFACE)
target_compile_features(molpotential_flags INTERFACE cxx_std_20)
target_compile_options(molpotential_flags INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion
  $<$<BOOL:${MOLPOTENTIAL_WERROR}>:-Werror>)
if(MOLPOTENTIAL_SANITIZE)
  target_compile_options(molpotential_flags INTERFACE
    -fsanitize=${MOLPOTENTIAL_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  target_link_options(molpotential_flags INTERFACE -fsanitize=${MOLPOTENTIAL_SANITIZE})
endif()

# Installed programs and libraries find each other wherever the prefix is.
set(molpotential_library_rpath "$ORIGIN")
file(RELATIVE_PATH _libdir_from_bindir
  /${CMAKE_INSTALL_BINDIR} /${CMAKE_INSTALL_LIBDIR})
set(molpotential_program_rpath "$ORIGIN/${_libdir_from_bindir}")

# A shared library of ours: molpotential_library(target EXPORT_NAME public-include-dir...)
function(molpotential_library target export_name)
  add_library(${target} SHARED)
  add_library(MolPotential::${export_name} ALIAS ${target})
  target_link_libraries(${target} PRIVATE $<BUILD_INTERFACE:molpotential_flags>)
  target_compile_features(${target} PUBLIC cxx_std_20)
  foreach(dir IN LISTS ARGN)
    target_include_directories(${target} PUBLIC $<BUILD_INTERFACE:${dir}>)
  endforeach()
  target_include_directories(${target} PUBLIC $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
  set_target_properties(${target} PROPERTIES
    EXPORT_NAME ${export_name}
    CXX_EXTENSIONS OFF
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON
    INSTALL_RPATH "${molpotential_library_rpath}"
    VERSION ${PROJECT_VERSION}
    SOVERSION ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})
  target_compile_definitions(${target} PRIVATE MOLPOTENTIAL_VERSION="${PROJECT_VERSION}")
  # Typed data and predicates cross library borders: their type information must be one.
  target_link_options(${target} PRIVATE -Wl,--no-undefined)
endfunction()

# A program of ours: molpotential_program(target source...)
function(molpotential_program target)
  add_executable(${target} ${ARGN})
  target_link_libraries(${target} PRIVATE molpotential_flags)
  set_target_properties(${target} PROPERTIES
    CXX_EXTENSIONS OFF
    INSTALL_RPATH "${molpotential_program_rpath}")
endfunction()
