# A draft: ../../README.md says what was tried of it.
get_filename_component(SOURCE_PATH "${CMAKE_CURRENT_LIST_DIR}/../../.." ABSOLUTE)

string(COMPARE EQUAL "${VCPKG_LIBRARY_LINKAGE}" "dynamic" build_c)
vcpkg_cmake_configure(
  SOURCE_PATH "${SOURCE_PATH}"
  OPTIONS -DNIVRA_BUILD_C=${build_c} -DNIVRA_BUILD_TESTS=OFF -DNIVRA_BUILD_TOOLS=OFF)
vcpkg_cmake_install()
vcpkg_cmake_config_fixup(CONFIG_PATH lib/cmake/nivra)
vcpkg_fixup_pkgconfig()
file(REMOVE_RECURSE
  "${CURRENT_PACKAGES_DIR}/debug/include"
  "${CURRENT_PACKAGES_DIR}/debug/share"
  "${CURRENT_PACKAGES_DIR}/share/doc")
vcpkg_install_copyright(FILE_LIST "${SOURCE_PATH}/LICENSE")
