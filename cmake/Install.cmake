# What `cmake --install` puts under the prefix, so that hosts and plug-ins build against the installed
# files alone: the public header, the versioned library, the `vorncast` tool, the headers a plug-in
# derives from, a pkg-config file for each use and a CMake package with imported targets.

set(VORNCAST_CMAKE_INSTALL_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/Vorncast)
set(VORNCAST_PLUGIN_HEADER_DIR ${CMAKE_INSTALL_INCLUDEDIR}/vorncast/plugin)

install(TARGETS VorncastDecoders EXPORT VorncastTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} NAMELINK_COMPONENT Development)
install(FILES ${PROJECT_SOURCE_DIR}/include/vorncast/VorncastDecoders.h
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/vorncast)

# The classes an import plug-in derives from, with the headers they include, kept at their paths below
# src/ so that the same include lines work in the tree and after the install.
set(VORNCAST_PLUGIN_HEADERS
    model/decoder/Decoder.h model/decoder/DecoderInfo.h model/decoder/ModelTypes.h
    model/decoder/SampleDescription.h model/decoder/Stream.h model/decoder/Track.h
    model/plugin/VorncastDecoderPlugin.h model/support/Box.h model/support/Buffer.h
    model/support/Comparer.h model/support/DynamicClass.h model/support/HandleSource.h
    model/support/Limits.h model/support/List.h model/support/ReferenceCountObject.h
    model/support/Visibility.h)
foreach(header ${VORNCAST_PLUGIN_HEADERS})
    get_filename_component(folder ${header} DIRECTORY)
    install(FILES ${PROJECT_SOURCE_DIR}/src/${header} DESTINATION ${VORNCAST_PLUGIN_HEADER_DIR}/${folder})
endforeach()
install(DIRECTORY DESTINATION ${VORNCAST_PLUGIN_INSTALL_DIR})

# A plug-in compiles against the plug-in headers and links the library whose classes it derives from.
add_library(VorncastPluginKit INTERFACE)
target_include_directories(VorncastPluginKit INTERFACE $<INSTALL_INTERFACE:${VORNCAST_PLUGIN_HEADER_DIR}>)
target_compile_features(VorncastPluginKit INTERFACE cxx_std_20)
target_link_libraries(VorncastPluginKit INTERFACE VorncastDecoders)
set_target_properties(VorncastPluginKit PROPERTIES EXPORT_NAME PluginKit)
install(TARGETS VorncastPluginKit EXPORT VorncastTargets)

install(EXPORT VorncastTargets NAMESPACE Vorncast:: DESTINATION ${VORNCAST_CMAKE_INSTALL_DIR})
include(CMakePackageConfigHelpers)
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/VorncastConfig.cmake.in
                              ${PROJECT_BINARY_DIR}/VorncastConfig.cmake
                              INSTALL_DESTINATION ${VORNCAST_CMAKE_INSTALL_DIR}
                              PATH_VARS VORNCAST_PLUGIN_INSTALL_DIR)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/VorncastConfigVersion.cmake
                                 COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/VorncastConfig.cmake ${PROJECT_BINARY_DIR}/VorncastConfigVersion.cmake
        DESTINATION ${VORNCAST_CMAKE_INSTALL_DIR})

# The pkg-config files find the prefix from their own place, so that an install with `--prefix` moves.
file(RELATIVE_PATH VORNCAST_PREFIX_FROM_PC /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
foreach(pc vorncast vorncast-plugin)
    configure_file(${CMAKE_CURRENT_LIST_DIR}/${pc}.pc.in ${PROJECT_BINARY_DIR}/${pc}.pc @ONLY)
    install(FILES ${PROJECT_BINARY_DIR}/${pc}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endforeach()
