# The message catalogue has one source, src/utils/catalogue.txt. GenerateCatalogue.cmake turns it
# into what the programs read: the rows of the compiled table, on every platform, and a script of
# string resources for the programs of Windows. It chooses the form by OUTPUT's extension:
#
#   cmake -DINPUT=catalogue.txt -DOUTPUT=catalogue.inc  -P GenerateCatalogue.cmake
#   cmake -DINPUT=catalogue.txt -DOUTPUT=Catalogue.rc   -P GenerateCatalogue.cmake
set(catalogue_folder ${CMAKE_BINARY_DIR}/generated/utils)

function(lathwind_generate_catalogue output)
  set(input ${CMAKE_SOURCE_DIR}/src/utils/catalogue.txt)
  set(generator ${CMAKE_SOURCE_DIR}/cmake/GenerateCatalogue.cmake)
  add_custom_command(
    OUTPUT ${output}
    COMMAND ${CMAKE_COMMAND} -DINPUT=${input} -DOUTPUT=${output} -P ${generator}
    DEPENDS ${input} ${generator}
    COMMENT "Generating the message catalogue"
    VERBATIM)
endfunction()

# Included by utils/TableCatalogue.cpp.
lathwind_generate_catalogue(${catalogue_folder}/catalogue.inc)
add_library(catalogue_table INTERFACE)
target_sources(catalogue_table INTERFACE ${catalogue_folder}/catalogue.inc)
target_include_directories(catalogue_table INTERFACE ${CMAKE_BINARY_DIR}/generated)

if(WIN32)
  lathwind_generate_catalogue(${catalogue_folder}/Catalogue.rc)
  add_library(catalogue_resource OBJECT ${catalogue_folder}/Catalogue.rc)
endif()
