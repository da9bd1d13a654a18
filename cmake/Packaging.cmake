# Installation, manual pages, shell completion and the Debian package.
# Included once from the top CMakeLists.txt after every target is defined;
# the windowed program adds its own install rules (window, translations,
# desktop file, icon) beside its target.
include(GNUInstallDirs)

install(TARGETS ostravel-cli RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(FILES ${CMAKE_SOURCE_DIR}/data/sample_problems.cp ${CMAKE_SOURCE_DIR}/data/sample_problems_sources.tsv
        DESTINATION ${CMAKE_INSTALL_DATADIR}/ostravel)
install(FILES ${CMAKE_SOURCE_DIR}/data/completion/ostravel-cli
        DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)

# Manual pages from the programs' own help texts, built with the programs.
find_program(HELP2MAN help2man)
if(HELP2MAN)
  set(_man_dir ${CMAKE_BINARY_DIR}/man)
  set(_man_home ${_man_dir}/home)
  file(MAKE_DIRECTORY ${_man_home})
  add_custom_command(
    OUTPUT ${_man_dir}/ostravel-cli.1
    COMMAND ${CMAKE_COMMAND} -DCLI=$<TARGET_FILE:ostravel-cli> -DOUT=${_man_dir}/ostravel-cli.h2m -P
            ${CMAKE_SOURCE_DIR}/cmake/ManCommands.cmake
    COMMAND ${CMAKE_COMMAND} -E env OSTRAVEL_HOME=${_man_home} ${HELP2MAN} --no-info --no-discard-stderr
            --name "solver of orthodox chess directmate problems" --section 1
            --include ${_man_dir}/ostravel-cli.h2m --output ${_man_dir}/ostravel-cli.1 $<TARGET_FILE:ostravel-cli>
    DEPENDS ostravel-cli ${CMAKE_SOURCE_DIR}/cmake/ManCommands.cmake
    COMMENT "Manual page of ostravel-cli"
    VERBATIM)
  set(_pages ${_man_dir}/ostravel-cli.1)
  if(TARGET ostravel)
    # The window prints its help without a display on the offscreen platform.
    add_custom_command(
      OUTPUT ${_man_dir}/ostravel.1
      COMMAND ${CMAKE_COMMAND} -E env OSTRAVEL_HOME=${_man_home} QT_QPA_PLATFORM=offscreen ${HELP2MAN} --no-info
              --no-discard-stderr --name "solver of orthodox chess directmate problems (window)" --section 1
              --output ${_man_dir}/ostravel.1 $<TARGET_FILE:ostravel>
      DEPENDS ostravel
      COMMENT "Manual page of ostravel"
      VERBATIM)
    list(APPEND _pages ${_man_dir}/ostravel.1)
  endif()
  add_custom_target(manpages ALL DEPENDS ${_pages})
  install(FILES ${_pages} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
else()
  message(STATUS "help2man not found: no manual pages")
endif()

# The Debian package of the whole program: cpack -G DEB in the build folder.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME ostravel)
set(CPACK_PACKAGE_VENDOR "the Ostravel developers")
set(CPACK_PACKAGE_CONTACT "Ostravel developers <ostravel@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "solver of orthodox chess directmate problems")
set(CPACK_PACKAGE_DESCRIPTION
    "Ostravel finds every key of a directmate problem (#n), with threats and variations, proves that no \
second solution exists, and runs long multi-threaded searches that can be saved and resumed. It reads and \
writes .cp collections, Popeye input, EPD and FEN lists, draws diagrams and speaks UCI.")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION games)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)  # the libraries' packages, as dpkg-shlibdeps finds them
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "fonts-dejavu-core, bash-completion")
set(CPACK_STRIP_FILES ON)
include(CPack)

if(OSTRAVEL_TESTS)
  # The install tree holds what the package promises; cheap, so a unit test.
  add_test(NAME install_manifest
           COMMAND ${CMAKE_COMMAND} -DBUILD_DIR=${CMAKE_BINARY_DIR} -DSTAGE=${CMAKE_BINARY_DIR}/install-check
                   -DWITH_MAN=$<BOOL:${HELP2MAN}> -DWITH_GUI=$<TARGET_EXISTS:ostravel> -P
                   ${CMAKE_SOURCE_DIR}/cmake/CheckInstall.cmake)
  set_tests_properties(install_manifest PROPERTIES LABELS unit)
  # The package itself, with its declared dependencies.
  add_test(NAME debian_package
           COMMAND ${CMAKE_COMMAND} -DBUILD_DIR=${CMAKE_BINARY_DIR} -DCPACK=${CMAKE_CPACK_COMMAND}
                   -DWITH_MAN=$<BOOL:${HELP2MAN}> -DWITH_GUI=$<TARGET_EXISTS:ostravel> -P
                   ${CMAKE_SOURCE_DIR}/cmake/CheckPackage.cmake)
  set_tests_properties(debian_package PROPERTIES LABELS long)
endif()
