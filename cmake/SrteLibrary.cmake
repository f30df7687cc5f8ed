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
