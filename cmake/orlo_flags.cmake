# Build type, warnings and sanitizers: everything that is a compiler flag.

if(PROJECT_IS_TOP_LEVEL)
    if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
        set(CMAKE_BUILD_TYPE Release)
    endif()
    # Only CMake's own default is lowered; flags that the user gave stay.
    if(CMAKE_CXX_FLAGS_RELEASE STREQUAL "-O3 -DNDEBUG")
        set(CMAKE_CXX_FLAGS_RELEASE "-O2 -DNDEBUG")
    endif()
endif()
set(CMAKE_CXX_EXTENSIONS OFF)

# Build usage only: linked PRIVATE everywhere, never exported.
add_library(orlo_warnings INTERFACE)
target_compile_options(orlo_warnings INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Wold-style-cast -Wcast-qual -Woverloaded-virtual
    -Wimplicit-fallthrough $<$<BOOL:${ORLO_WERROR}>:-Werror>)

if(ORLO_SANITIZE)
    add_compile_options(-fsanitize=${ORLO_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${ORLO_SANITIZE})
    if(ORLO_SANITIZE MATCHES "thread")
        add_compile_definitions(ORLO_THREAD_SANITIZER)
    endif()
endif()
if(ORLO_FUZZ)
    if(NOT CMAKE_CXX_COMPILER_ID MATCHES "Clang")
        message(FATAL_ERROR "ORLO_FUZZ needs clang: configure with the preset 'asan'")
    endif()
    add_compile_options(-fsanitize=fuzzer-no-link)
endif()

# Everything that the library target has.
function(orlo_configure_library target)
    target_compile_features(${target} PUBLIC cxx_std_20)
    target_include_directories(${target}
        PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>
        PRIVATE ${PROJECT_SOURCE_DIR}/lib)
    # The tests are left out: they lock the wrong way on purpose.
    target_compile_options(${target} PRIVATE $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety>)
    target_link_libraries(${target} PUBLIC Threads::Threads ${CMAKE_DL_LIBS} PRIVATE $<BUILD_INTERFACE:orlo_warnings>)
    # A shared library exports what ORLO_API marks.
    set_target_properties(${target} PROPERTIES CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
endfunction()
