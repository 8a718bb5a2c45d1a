# kelp_library(NAME [DEPENDS our-target...] [PRIVATE lib...])
#
# Makes one library of the current folder's files, except main.cpp, which belongs to the program. Its headers are
# included as "folder/below/src/name.h". The library has an include directory with links to its own headers alone, so
# only targets that link the library find them. A DEPENDS that is not defined yet is an error. So the order of the
# add_subdirectory lines in src/ is the order of the layers, and no cycle is possible. Whoever links a library also
# gets the include directories of its DEPENDS. Therefore tests/layers.py compares the includes of each folder with the
# folder's own list.
function(kelp_library NAME)
    cmake_parse_arguments(ARG "" "" "DEPENDS;PRIVATE" ${ARGN})
    foreach(dependency IN LISTS ARG_DEPENDS)
        if(NOT TARGET ${dependency})
            message(FATAL_ERROR "${NAME} may not depend on ${dependency}, which stands above it")
        endif()
    endforeach()

    file(GLOB headers CONFIGURE_DEPENDS *.h)
    file(GLOB sources CONFIGURE_DEPENDS *.cpp)
    list(FILTER sources EXCLUDE REGEX "/main\\.cpp$")
    file(RELATIVE_PATH folder ${PROJECT_SOURCE_DIR}/src ${CMAKE_CURRENT_SOURCE_DIR})
    set(include_directory ${PROJECT_BINARY_DIR}/include/${NAME})
    file(REMOVE_RECURSE ${include_directory})
    file(MAKE_DIRECTORY ${include_directory}/${folder})
    foreach(header IN LISTS headers)
        get_filename_component(name ${header} NAME)
        file(CREATE_LINK ${header} ${include_directory}/${folder}/${name} SYMBOLIC)
    endforeach()

    add_library(${NAME} STATIC ${sources} ${headers})
    target_include_directories(${NAME} PUBLIC ${include_directory})
    target_link_libraries(${NAME} PUBLIC ${ARG_DEPENDS} PRIVATE ${ARG_PRIVATE} kelp-warnings)
endfunction()

# The warnings that every target of ours is built with; the dev preset turns them into errors. Optimised builds go
# without two of them: GCC 12 then finds them, falsely, in its own strings and in Boost, and dozens would hide a real one.
add_library(kelp-warnings INTERFACE)
target_compile_options(kelp-warnings INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion
    -Wnon-virtual-dtor -Woverloaded-virtual -Wold-style-cast
    $<$<CONFIG:Debug>:-Wnull-dereference>
    $<$<AND:$<CXX_COMPILER_ID:GNU>,$<NOT:$<CONFIG:Debug>>>:-Wno-restrict>)
