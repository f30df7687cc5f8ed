# libSrTePolicy.so, made from the objects of the library's components, and its installation.

get_property(components GLOBAL PROPERTY SRTE_LIBRARY_COMPONENTS)
get_property(headers GLOBAL PROPERTY SRTE_LIBRARY_HEADERS)
if(NOT components)
  return()
endif()

list(TRANSFORM components REPLACE "(.+)" "$<TARGET_OBJECTS:\\1>" OUTPUT_VARIABLE objects)
add_library(srte_library SHARED ${objects})
target_sources(srte_library PUBLIC
  FILE_SET HEADERS BASE_DIRS ${PROJECT_SOURCE_DIR} FILES ${headers})
target_compile_features(srte_library INTERFACE cxx_std_20)
set_target_properties(srte_library PROPERTIES
  OUTPUT_NAME SrTePolicy
  EXPORT_NAME SrTePolicy
  LINKER_LANGUAGE CXX
  VERSION ${PROJECT_VERSION}
  SOVERSION ${PROJECT_VERSION_MAJOR})

include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

# The version in the header directory lets two incompatible releases be installed side by side.
set(header_directory ${CMAKE_INSTALL_INCLUDEDIR}/SrTePolicy-${PROJECT_VERSION_MAJOR})
set(package_directory ${CMAKE_INSTALL_LIBDIR}/cmake/SrTePolicy)
install(TARGETS srte_library EXPORT SrTePolicy
  FILE_SET HEADERS DESTINATION ${header_directory})
# The library needs nothing but the standard library, so its targets alone are its configuration.
install(EXPORT SrTePolicy FILE SrTePolicyConfig.cmake
  NAMESPACE SrTePolicy:: DESTINATION ${package_directory})
write_basic_package_version_file(
  ${PROJECT_BINARY_DIR}/SrTePolicyConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/SrTePolicyConfigVersion.cmake
  DESTINATION ${package_directory})

# srte_on_library: the host once more, linked to libSrTePolicy.so instead of to its parts. It links
# only while what the library exports is all that a host needs; .ci/consumer builds it.
function(srte_host_on_library)
  add_executable(srte_on_library EXCLUDE_FROM_ALL
    $<TARGET_OBJECTS:srte> $<TARGET_OBJECTS:srte_agent>)
  target_link_libraries(srte_on_library PRIVATE srte_library yaml-cpp)
  set_target_properties(srte_on_library PROPERTIES LINKER_LANGUAGE CXX)
endfunction()
