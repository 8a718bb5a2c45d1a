# `cpack` in the release build makes kelp_VERSION_ARCHITECTURE.deb and kelp-VERSION-1.ARCHITECTURE.rpm. Neither has
# scripts: what the packages carry is in force as it lies on disk, and what the programs have made stays when a package
# goes.
set(CPACK_PACKAGE_NAME kelp)
set(CPACK_PACKAGE_CONTACT ${KELP_PACKAGE_CONTACT})
set(CPACK_PACKAGE_VENDOR "Velura OS")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "application package store of Velura OS")
set(CPACK_PACKAGE_DESCRIPTION
    "kelp-launcher brings the applications of a machine from rpm into the package\nstore, once, at start-up. kelpctl judges packages and looks after the store.")
set(CPACK_GENERATOR DEB RPM)
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_STRIP_FILES ON)

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)

set(CPACK_RPM_FILE_NAME RPM-DEFAULT)
set(CPACK_RPM_PACKAGE_LICENSE "as the owner states in copyright")
set(CPACK_RPM_PACKAGE_AUTOREQ ON)
set(CPACK_RPM_SPEC_MORE_DEFINE "%define _build_id_links none")
# Directories outside of the prefix would count as configuration.
set(CPACK_RPM_USER_FILELIST
    "%dir %attr(0700,root,root) /var/lib/kelp" "%dir %attr(0700,root,root) /var/lib/trusted-sources")
# Directories that belong to the system.
set(CPACK_RPM_EXCLUDE_FROM_AUTO_FILELIST_ADDITION
    /usr/sbin /usr/lib/systemd /usr/lib/systemd/system
    /usr/lib/systemd/system/basic.target.wants /usr/lib/systemd/system/timers.target.wants
    /usr/share/man /usr/share/man/man1 /usr/share/man/man8 /usr/share/doc
    /usr/share/bash-completion /usr/share/bash-completion/completions
    /usr/share/zsh /usr/share/zsh/vendor-completions /usr/share/zsh/site-functions /var /var/lib)

include(CPack)
