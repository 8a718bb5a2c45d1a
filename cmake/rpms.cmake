find_program(RPMBUILD rpmbuild REQUIRED)

# kelp_rpm(TARGET NAME SPEC [DEFINES "macro body"...])
#
# Builds the package of a .spec file as NAME.rpm, before TARGET, a test program of the same folder. The program has
# the directory of the packages in the macro KELP_RPMS. A .spec file makes its files in %install. It needs no sources
# and no privileges: %attr and %dev set owners and device nodes. Files are packed unchanged: no stripping, no build
# ids, no generated dependencies.
function(kelp_rpm TARGET NAME SPEC)
    cmake_parse_arguments(ARG "" "" "DEFINES" ${ARGN})
    cmake_path(ABSOLUTE_PATH SPEC)
    set(directory ${CMAKE_CURRENT_BINARY_DIR}/rpms)
    set(workshop ${CMAKE_CURRENT_BINARY_DIR}/rpmbuild/${NAME})
    # It quotes no directory in the scripts that it makes.
    if(workshop MATCHES "[ \t]")
        message(FATAL_ERROR "rpmbuild, which the tests need, cannot work in a path with blanks: ${workshop}")
    endif()
    set(defines)
    foreach(define IN ITEMS
            "_topdir ${workshop}" "_rpmdir ${directory}" "_rpmfilename ${NAME}.rpm"
            "_build_id_links none" "debug_package %{nil}" "__os_install_post %{nil}" LISTS ARG_DEFINES)
        list(APPEND defines --define ${define})
    endforeach()
    add_custom_command(
        OUTPUT ${directory}/${NAME}.rpm
        # rpmbuild fails if another one makes the same parent directory at the same time.
        COMMAND ${CMAKE_COMMAND} -E make_directory ${directory} ${workshop}
        COMMAND ${RPMBUILD} -bb --quiet --nodeps ${defines} ${SPEC}
        DEPENDS ${SPEC}
        COMMENT "Packing ${NAME}.rpm"
        VERBATIM)
    target_sources(${TARGET} PRIVATE ${directory}/${NAME}.rpm)
    target_compile_definitions(${TARGET} PRIVATE KELP_RPMS="${directory}")
endfunction()
