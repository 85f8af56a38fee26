# Debian packages through CPack: `cpack -G DEB` in the build directory makes vordta (the command and the module) and
# libvorhost-dev (the library and the headers), and python3-vordta where the Python package is built.
set(CPACK_PACKAGE_NAME vordta)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "The vordta developers <vordta@users.noreply.example>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY ${PROJECT_DESCRIPTION})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_GENERATOR DEB)
set(CPACK_COMPONENTS_ALL command development)
if(VORDTA_PYTHON)
  list(APPEND CPACK_COMPONENTS_ALL python)
endif()
set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_SOURCE_DIR}/cmake/debian_layout.cmake)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION science)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)

set(CPACK_DEBIAN_COMMAND_PACKAGE_NAME vordta)
set(CPACK_COMPONENT_COMMAND_DESCRIPTION
  "Reads and writes Stata data files (.dta), releases 103 to 119.\nCSV files and SQLite libraries in and out, with value labels, missing values\nand dates.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libvorhost-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
  "vordta (= ${PROJECT_VERSION}), libsqlite3-dev, libicu-dev, libfmt-dev, libcsv-dev, libarchive-dev, zlib1g-dev")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION
  "The host library of vordta, for C++ programs that read and write Stata data\nfiles (.dta) themselves.")
set(CPACK_DEBIAN_PYTHON_PACKAGE_NAME python3-vordta)
set(CPACK_DEBIAN_PYTHON_PACKAGE_SECTION python)
math(EXPR next_python "${Python3_VERSION_MINOR} + 1")
set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS
  "vordta (= ${PROJECT_VERSION}), python3 (>= 3.${Python3_VERSION_MINOR}~), python3 (<< 3.${next_python})")
set(CPACK_DEBIAN_PYTHON_PACKAGE_RECOMMENDS python3-pandas)
set(CPACK_COMPONENT_PYTHON_DESCRIPTION
  "The Python package of vordta: Stata data files (.dta) in and out of pandas, and\nas Arrow streams.")
include(CPack)
