# The Debian package: cpack -G DEB in a build folder writes
# kestrova_<version>_<architecture>.deb with everything the install rules put
# under /usr.

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME kestrova)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_VENDOR "Velmont software")
set(CPACK_PACKAGE_CONTACT "Velmont software <packages@kestrova.example>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY
    "turn photographs into pen, pencil, poster and colour sketches")
set(CPACK_PACKAGE_DESCRIPTION
    "Kestrova turns a photograph into a drawing or a flat-colour picture: a pen
sketch of its outlines, a cross-hatched pencil sketch, a poster of a few flat
colours or a colour sketch of merged brush strokes. The window compares the
result with the photograph and saves it as JPEG or PNG; the kestrova-cli
command draws single pictures or whole folders in a terminal.")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION graphics)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_HOMEPAGE ${PROJECT_HOMEPAGE_URL})
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
# Depends: computed by dpkg-shlibdeps from the libraries the two programs
# link (Qt, the C++ runtime, libc), with the versions they need.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# Qt loads these plugins at run time, so no linker entry names them: TIFF and
# other pictures in the open dialog, and a native Wayland window (without it
# the window runs through XWayland).
# `import kestrova` takes and gives NumPy arrays.
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "qt6-image-formats-plugins, qt6-wayland, python3-numpy")

# No source package; should anyone make one, the builds stay out of it.
set(CPACK_SOURCE_IGNORE_FILES "/\\\\.git/" "/build/" "/\\\\.cache/")

include(CPack)
