# `cpack` in the release build makes two packages for Debian and two for rpm systems. kelp-tools is for people who
# make or sell applications, and runs nothing by itself. kelp brings a machine over to the store, and needs
# kelp-tools. No package has scripts: its files take effect as soon as they are on disk. A removal leaves the files
# that the programs have made.
set(CPACK_GENERATOR DEB RPM)
set(CPACK_COMPONENTS_ALL tools launcher)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_RPM_COMPONENT_INSTALL ON)
set(CPACK_PACKAGE_CONTACT ${KELP_PACKAGE_CONTACT})
set(CPACK_PACKAGE_VENDOR "Velura OS")
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_PACKAGE_RELOCATABLE OFF)
set(CPACK_STRIP_FILES ON)
# Each package has a summary of its own. CPack would put this one in front of it, unless it is CPack's own default.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_NAME} built using CMake")

set(toolsSummary "Tools that judge application packages and look after their store")
set(toolsText
    "kelpctl tells makers and stores whether a package would be let in, and why not.\n\
On a device it looks into the package store of Velura OS, mends it, and brings\n\
packages in and out. Nothing of this package runs by itself.")
set(launcherSummary "Application package store of Velura OS")
set(launcherText
    "kelp-launcher brings the applications of a machine from rpm into the package\n\
store, once, at start-up. A unit of this package starts it, and another one\n\
fails when an application needs somebody.")

# The single package of old, with everything in it.
set(onePackage 1.1.0)

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME kelp-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION devel)
set(CPACK_DEBIAN_TOOLS_DESCRIPTION "${toolsSummary}\n${toolsText}")
set(CPACK_DEBIAN_TOOLS_PACKAGE_BREAKS "kelp (<< ${onePackage})")
set(CPACK_DEBIAN_TOOLS_PACKAGE_REPLACES "kelp (<< ${onePackage})")
set(CPACK_DEBIAN_LAUNCHER_PACKAGE_NAME kelp)
set(CPACK_DEBIAN_LAUNCHER_DESCRIPTION "${launcherSummary}\n${launcherText}")
set(CPACK_DEBIAN_LAUNCHER_PACKAGE_DEPENDS "kelp-tools (= ${PROJECT_VERSION})")

set(CPACK_RPM_FILE_NAME RPM-DEFAULT)
set(CPACK_RPM_PACKAGE_LICENSE "as the owner states in copyright")
set(CPACK_RPM_PACKAGE_AUTOREQ ON)
set(CPACK_RPM_CHANGELOG_FILE ${CMAKE_CURRENT_BINARY_DIR}/dist/rpm-changelog)
set(CPACK_RPM_SPEC_MORE_DEFINE "%define _build_id_links none\n%define packager ${KELP_PACKAGE_CONTACT}")
set(CPACK_RPM_TOOLS_PACKAGE_NAME kelp-tools)
set(CPACK_RPM_TOOLS_PACKAGE_GROUP Development/Tools)
set(CPACK_RPM_TOOLS_PACKAGE_SUMMARY ${toolsSummary})
set(CPACK_RPM_TOOLS_PACKAGE_DESCRIPTION "${toolsText}")
set(CPACK_RPM_TOOLS_PACKAGE_CONFLICTS "kelp < ${onePackage}")
set(CPACK_RPM_LAUNCHER_PACKAGE_NAME kelp)
set(CPACK_RPM_LAUNCHER_PACKAGE_GROUP System/Base)
set(CPACK_RPM_LAUNCHER_PACKAGE_SUMMARY ${launcherSummary})
set(CPACK_RPM_LAUNCHER_PACKAGE_DESCRIPTION "${launcherText}")
set(CPACK_RPM_LAUNCHER_PACKAGE_REQUIRES "kelp-tools = ${PROJECT_VERSION}")
# Directories outside of the prefix would count as configuration.
set(CPACK_RPM_LAUNCHER_USER_FILELIST
    "%dir %attr(0700,root,root) /var/lib/kelp" "%dir %attr(0700,root,root) /var/lib/trusted-sources")
# Directories that belong to the system.
set(CPACK_RPM_EXCLUDE_FROM_AUTO_FILELIST_ADDITION
    /usr/sbin /usr/lib/systemd /usr/lib/systemd/system
    /usr/lib/systemd/system/basic.target.wants /usr/lib/systemd/system/timers.target.wants
    /usr/share/man /usr/share/man/man1 /usr/share/man/man8 /usr/share/doc
    /usr/share/bash-completion /usr/share/bash-completion/completions
    /usr/share/zsh /usr/share/zsh/vendor-completions /usr/share/zsh/site-functions /var /var/lib)

include(CPack)
