# cmake --install: the library with its codec libraries beside it, the headers, the tools, and what clients need to find
# them: find_package(Zelvane) and pkg-config zelvane.
include(CMakePackageConfigHelpers)
set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/Zelvane)

install(TARGETS zelvane EXPORT ZelvaneTargets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(TARGETS zvcodec h265dec zvmjpeg g711 mp2 faac zvmp4 zvrsa EXPORT ZelvaneTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/${ZELVANE_CODEC_FOLDER})
install(TARGETS zvplay zvcam zvprobe zvcloud RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(FILES include/player_public.h include/player_sdk_func.h include/player_ext.h
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/zelvane)

install(EXPORT ZelvaneTargets NAMESPACE Zelvane:: DESTINATION ${package_dir})
configure_package_config_file(cmake/ZelvaneConfig.cmake.in ${CMAKE_BINARY_DIR}/ZelvaneConfig.cmake
                              INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${CMAKE_BINARY_DIR}/ZelvaneConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/ZelvaneConfig.cmake ${CMAKE_BINARY_DIR}/ZelvaneConfigVersion.cmake
        DESTINATION ${package_dir})

file(RELATIVE_PATH pc_prefix "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
configure_file(cmake/zelvane.pc.in ${CMAKE_BINARY_DIR}/zelvane.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/zelvane.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
