include(CMakePackageConfigHelpers)

# Headers keep their folders under include/tqge; the port headers land beside them,
# so one include directory serves a consumer, as the build tree's three do.
set(_tqge_dest ${CMAKE_INSTALL_INCLUDEDIR}/tqge)
install(FILES include/tqge.h DESTINATION ${_tqge_dest})
foreach(_dir tqlibex foundation servers contracts followup)
    install(DIRECTORY ${_dir}/ DESTINATION ${_tqge_dest}/${_dir}
        FILES_MATCHING PATTERN "*.h"
        PATTERN "posix" EXCLUDE PATTERN "win32" EXCLUDE)
endforeach()
foreach(_dir ${TQGE_PORT_HEADER_DIRS})
    install(DIRECTORY tqlibex/${_dir}/${TQGE_PLATFORM_DIR}/ DESTINATION ${_tqge_dest}
        FILES_MATCHING PATTERN "*.h")
endforeach()

install(TARGETS tqge EXPORT tqgeTargets ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(EXPORT tqgeTargets NAMESPACE tqge:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/tqge)
configure_package_config_file(cmake/tqgeConfig.cmake.in
    ${CMAKE_CURRENT_BINARY_DIR}/tqgeConfig.cmake
    INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/tqge)
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/tqgeConfigVersion.cmake
    COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/tqgeConfig.cmake
    ${CMAKE_CURRENT_BINARY_DIR}/tqgeConfigVersion.cmake
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/tqge)
