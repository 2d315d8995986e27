# The message catalogue has one source, src/utils/catalogue.txt. GenerateCatalogue.cmake turns it
# into what the platform reads: a script of string resources on Windows, a C++ table elsewhere.
#
#   cmake -DINPUT=catalogue.txt -DOUTPUT=Catalogue.rc        -P GenerateCatalogue.cmake
#   cmake -DINPUT=catalogue.txt -DOUTPUT=CatalogueTable.cpp  -P GenerateCatalogue.cmake
#
# The generator chooses the form by OUTPUT's extension.
set(catalogue_input ${CMAKE_SOURCE_DIR}/src/utils/catalogue.txt)
set(catalogue_generator ${CMAKE_SOURCE_DIR}/cmake/GenerateCatalogue.cmake)
file(GLOB catalogue_parts CONFIGURE_DEPENDS ${catalogue_input} ${catalogue_generator})
list(LENGTH catalogue_parts catalogue_part_count)
if(catalogue_part_count LESS 2)
  return()
endif()

if(WIN32)
  set(catalogue_output ${CMAKE_BINARY_DIR}/generated/utils/Catalogue.rc)
else()
  set(catalogue_output ${CMAKE_BINARY_DIR}/generated/utils/CatalogueTable.cpp)
endif()
add_custom_command(
  OUTPUT ${catalogue_output}
  COMMAND ${CMAKE_COMMAND} -DINPUT=${catalogue_input} -DOUTPUT=${catalogue_output}
          -P ${catalogue_generator}
  DEPENDS ${catalogue_input} ${catalogue_generator}
  COMMENT "Generating the message catalogue"
  VERBATIM)

if(WIN32)
  add_library(catalogue_resource OBJECT ${catalogue_output})
else()
  add_library(catalogue_table OBJECT ${catalogue_output})
  target_link_libraries(catalogue_table PRIVATE lathwind_flags)
endif()
