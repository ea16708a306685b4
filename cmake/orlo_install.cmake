# Installation: program, library, public headers, the CMake package Orlo and orlo.pc.

include(CMakePackageConfigHelpers)

function(orlo_install library) # and the programs
    set(package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/Orlo")
    if(BUILD_SHARED_LIBS AND ARGN)
        file(RELATIVE_PATH bin_to_lib "${CMAKE_INSTALL_FULL_BINDIR}" "${CMAKE_INSTALL_FULL_LIBDIR}")
        set_target_properties(${ARGN} PROPERTIES INSTALL_RPATH "$ORIGIN/${bin_to_lib}")
    endif()
    install(TARGETS ${library} EXPORT OrloTargets)
    if(ARGN)
        install(TARGETS ${ARGN})
    endif()
    install(DIRECTORY include/orlo DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}" FILES_MATCHING PATTERN "*.h")

    install(EXPORT OrloTargets NAMESPACE Orlo:: DESTINATION "${package_dir}")
    configure_package_config_file(cmake/OrloConfig.cmake.in OrloConfig.cmake INSTALL_DESTINATION "${package_dir}")
    write_basic_package_version_file(OrloConfigVersion.cmake COMPATIBILITY SameMinorVersion)
    install(FILES "${PROJECT_BINARY_DIR}/OrloConfig.cmake" "${PROJECT_BINARY_DIR}/OrloConfigVersion.cmake"
        DESTINATION "${package_dir}")

    # The prefix is told relative to the file itself, so that the installed tree can be moved.
    file(RELATIVE_PATH pc_to_prefix "${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig" "${CMAKE_INSTALL_PREFIX}")
    configure_file(cmake/orlo.pc.in orlo.pc @ONLY)
    install(FILES "${PROJECT_BINARY_DIR}/orlo.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
endfunction()
