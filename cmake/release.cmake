# The newest heading of CHANGELOG.md: "## VERSION, YEAR-MONTH-DAY". Its date is used for all files with a date of the
# release, such as manuals, so that each build of the same sources makes the same files.
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS CHANGELOG.md)
file(STRINGS CHANGELOG.md headings REGEX "^## ")
list(GET headings 0 newest)
if(NOT newest MATCHES "^## ([0-9.]+), ([0-9]+-[0-9]+-[0-9]+)$" OR NOT CMAKE_MATCH_1 STREQUAL PROJECT_VERSION)
    message(FATAL_ERROR "CHANGELOG.md begins with \"${newest}\", not with version ${PROJECT_VERSION} and its date")
endif()
set(KELP_RELEASE_DATE ${CMAKE_MATCH_2})

# kelp_release_date(VARIABLE FORMAT): the same as date(1) writes it, for the changelogs of packages.
function(kelp_release_date VARIABLE FORMAT)
    execute_process(
        COMMAND ${CMAKE_COMMAND} -E env LC_ALL=C date --utc --date=${KELP_RELEASE_DATE} +${FORMAT}
        OUTPUT_VARIABLE date
        OUTPUT_STRIP_TRAILING_WHITESPACE
        COMMAND_ERROR_IS_FATAL ANY)
    set(${VARIABLE} ${date} PARENT_SCOPE)
endfunction()
