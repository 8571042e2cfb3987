# The Debian package: `make package` runs CPack over the install rules of the top-level CMakeLists.txt and writes
# tackpad_<version>_<arch>.deb into the build folder. The README's packaging notes say why each relation is there.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME tackpad)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_VENDOR "The Tackpad developers")
set(CPACK_PACKAGE_CONTACT "The Tackpad developers <developers@tackpad.app>")
set(CPACK_PACKAGE_HOMEPAGE_URL https://tackpad.app)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "sticky notes kept as plain Markdown files")
set(CPACK_PACKAGE_DESCRIPTION [=[Tackpad puts sticky notes on the desktop. Every note is a small window with a
Markdown editor that styles headings, lists, emphasis, links and code as you
type, and every note is an ordinary Markdown file in a folder you choose.

A note's position, size, colour and text size are kept in one line at the top
of its file, so the folder stays plain Markdown that any editor, backup or
synchronisation tool can use; changes made elsewhere appear at once. Notes can
float on top, roll up, hide, be searched, and be rewritten by an AI prompt note
(with the user's own API key, kept in the desktop's keyring). The tackpad
command also lists, creates and searches notes from a terminal.]=])
set(CPACK_STRIP_FILES ON)

# A native package: the project is its own upstream, so the version has no Debian revision and the changelog is
# changelog.gz. Staged by a script because only the package carries it, not `make install`.
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
configure_file(packaging/changelog.in packaging/changelog @ONLY)
set(CPACK_TACKPAD_CHANGELOG ${CMAKE_CURRENT_BINARY_DIR}/packaging/changelog)
set(CPACK_INSTALL_SCRIPTS ${CMAKE_CURRENT_LIST_DIR}/DebianChangelog.cmake)

# dpkg-shlibdeps finds the libraries the binary links. What it cannot see: the SVG icon engine and image plugin
# (loaded by Qt at run time), libsecret (which QtKeychain opens with dlopen), libgit2 (opened at the first merge),
# and Qt's private text-document API, whose ABI is only stable within one exact Qt version.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_DEPENDS
  "libqt6svg6, libsecret-1-0, libgit2-${TACKPAD_LIBGIT2_SOVERSION}, qt6-base-abi (= ${Qt6Core_VERSION})")
# Qt's own dialogs (file chooser, editor menu) speak the user's language only with Qt's translations installed.
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS
  "gnome-keyring | kwalletmanager | keepassxc, qt6-wayland, fonts-noto-color-emoji, qt6-translations-l10n")

include(CPack)
