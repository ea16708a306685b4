# One GoogleTest program per folder of tests/, the public headers compiled alone, the examples, the layer check
# and the client of the installed tree.

find_package(GTest REQUIRED)
find_package(Python3 REQUIRED COMPONENTS Interpreter)
include(GoogleTest)
include(wrapped_calls)

# --- support -------------------------------------------------------------------------------------------------
file(GLOB support_sources CONFIGURE_DEPENDS tests/support/*.cpp)
set(faults_source "${PROJECT_SOURCE_DIR}/tests/support/faults.cpp")
set(allocations_source "${PROJECT_SOURCE_DIR}/tests/support/allocations.cpp")
list(REMOVE_ITEM support_sources "${faults_source}" "${allocations_source}")
add_library(orlo_test_support STATIC ${support_sources})
target_link_libraries(orlo_test_support PRIVATE orlo_warnings)
target_include_directories(orlo_test_support PUBLIC tests lib include)
target_compile_features(orlo_test_support PUBLIC cxx_std_20)
# Only here: a path on each test's command line would make ccache miss in every other checkout.
target_compile_definitions(orlo_test_support PRIVATE
    ORLO_SOURCE_DIR="${PROJECT_SOURCE_DIR}" TALLYCSV_BINARY="$<TARGET_FILE:tallycsv>")
# gtest's INSTANTIATE_TEST_SUITE_P leaves a variadic part empty, which clang 14 still calls an extension.
target_compile_options(orlo_test_support PUBLIC
    $<$<CXX_COMPILER_ID:Clang>:-Wno-gnu-zero-variadic-macro-arguments>)
target_link_libraries(orlo_test_support PUBLIC GTest::gtest Threads::Threads)

# Objects, not an archive: the wrapped names are first missed by archives that stand after it on the link line.
add_library(orlo_test_faults OBJECT "${faults_source}")
target_link_libraries(orlo_test_faults PRIVATE orlo_test_support orlo_warnings)
add_library(orlo_test_allocations OBJECT "${allocations_source}")
target_link_libraries(orlo_test_allocations PRIVATE orlo_test_support orlo_warnings)

# --- one program per folder ----------------------------------------------------------------------------------
file(GLOB_RECURSE test_sources CONFIGURE_DEPENDS RELATIVE "${PROJECT_SOURCE_DIR}/tests" tests/*_test.cpp)
set(test_folders "")
foreach(source IN LISTS test_sources)
    string(REGEX MATCH "^[^/]+/" folder "${source}")
    string(REPLACE "/" "" folder "${folder}")
    if(NOT folder)
        message(FATAL_ERROR "tests/${source}: a test belongs into a folder of tests/")
    endif()
    list(APPEND sources_of_${folder} "tests/${source}")
    list(APPEND test_folders ${folder})
endforeach()
list(REMOVE_DUPLICATES test_folders)

foreach(folder IN LISTS test_folders)
    set(tests orlo_${folder}_tests)
    add_executable(${tests} ${sources_of_${folder}})
    if(folder STREQUAL "tool")
        target_link_libraries(${tests} PRIVATE tallycsv_stages)
        add_dependencies(${tests} tallycsv)
    endif()
    target_link_libraries(${tests} PRIVATE orlo_test_support GTest::gmock GTest::gtest_main orlo_warnings)
    if(folder IN_LIST ORLO_WRAPPED_FOLDERS)
        target_link_libraries(${tests} PRIVATE orlo_test_faults orlo_inside)
        list(TRANSFORM ORLO_WRAPPED_CALLS PREPEND "LINKER:--wrap=" OUTPUT_VARIABLE wraps)
        target_link_options(${tests} PRIVATE ${wraps})
    elseif(folder IN_LIST ORLO_ALLOCATION_FOLDERS)
        target_link_libraries(${tests} PRIVATE orlo_test_allocations orlo_inside)
        list(TRANSFORM ORLO_ALLOCATION_CALLS PREPEND "LINKER:--wrap=" OUTPUT_VARIABLE wraps)
        target_link_options(${tests} PRIVATE ${wraps})
    elseif(NOT folder STREQUAL "tool")
        target_link_libraries(${tests} PRIVATE orlo_inside)
    endif()
    gtest_discover_tests(${tests} TEST_PREFIX "${folder}: " DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 60
        PROPERTIES TIMEOUT 120)
endforeach()

# --- public headers, each compiled alone (and twice, which proves its guard) with the examples in its comments --
# Nothing of it is run, so the sanitizers' builds leave it out.
if(NOT ORLO_SANITIZE)
    file(GLOB_RECURSE public_headers CONFIGURE_DEPENDS RELATIVE "${PROJECT_SOURCE_DIR}/include" include/*.h)
    set(header_script "${PROJECT_SOURCE_DIR}/scripts/header_examples")
    set(header_units "")
    file(MAKE_DIRECTORY "${PROJECT_BINARY_DIR}/headers_alone")
    foreach(header IN LISTS public_headers)
        string(MAKE_C_IDENTIFIER "${header}" unit)
        set(unit "${PROJECT_BINARY_DIR}/headers_alone/${unit}.cpp")
        add_custom_command(OUTPUT "${unit}" COMMAND ${Python3_EXECUTABLE} ${header_script} "${header}" "${unit}"
            DEPENDS "${PROJECT_SOURCE_DIR}/include/${header}" "${header_script}")
        list(APPEND header_units "${unit}")
    endforeach()
    if(BUILD_SHARED_LIBS)
        # What an example uses and the library does not export does not link.
        add_library(orlo_headers_alone SHARED ${header_units})
        target_link_options(orlo_headers_alone PRIVATE LINKER:--no-undefined)
    else()
        add_library(orlo_headers_alone OBJECT ${header_units})
    endif()
    target_link_libraries(orlo_headers_alone PRIVATE orlo orlo_warnings)
endif()

# --- examples: run, and compared with NAME.expected where that lies beside the source -------------------------
file(GLOB example_sources CONFIGURE_DEPENDS examples/*.cpp)
foreach(source IN LISTS example_sources)
    get_filename_component(name "${source}" NAME_WE)
    add_executable(example_${name} "${source}")
    target_link_libraries(example_${name} PRIVATE orlo orlo_warnings)
    add_test(NAME "example: ${name}"
        COMMAND ${CMAKE_COMMAND} -DPROGRAM=$<TARGET_FILE:example_${name}>
            -DEXPECTED=${PROJECT_SOURCE_DIR}/examples/${name}.expected -DFOLDER=${PROJECT_BINARY_DIR}/examples/${name}
            -P ${PROJECT_SOURCE_DIR}/cmake/run_example.cmake)
    set_tests_properties("example: ${name}" PROPERTIES TIMEOUT 120)
endforeach()

# --- layers, and the installed tree --------------------------------------------------------------------------
add_test(NAME "layers" COMMAND ${Python3_EXECUTABLE} ${PROJECT_SOURCE_DIR}/scripts/check_layers)
add_test(NAME "layers: self-test" COMMAND ${Python3_EXECUTABLE} ${PROJECT_SOURCE_DIR}/scripts/check_layers --self-test)
if(BUILD_SHARED_LIBS)
    add_test(NAME "exported symbols" COMMAND ${Python3_EXECUTABLE} ${PROJECT_SOURCE_DIR}/scripts/check_symbols
        $<TARGET_FILE:orlo>)
endif()
# A client of the installed tree is built without sanitizers, so a library with them could not be linked.
if(NOT ORLO_SANITIZE AND NOT ORLO_FUZZ)
    add_test(NAME "install_client" COMMAND bash ${PROJECT_SOURCE_DIR}/scripts/test_install_client.sh
        ${PROJECT_BINARY_DIR} ${CMAKE_CXX_COMPILER})
    set_tests_properties("install_client" PROPERTIES TIMEOUT 300)
endif()
