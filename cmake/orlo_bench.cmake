# bench/NAME_bench.cpp becomes a Google Benchmark program; bench/merge/ holds the generator and the stopwatch of
# the whole-tool bench that scripts/bench.sh drives.

find_package(benchmark REQUIRED)
file(GLOB bench_sources CONFIGURE_DEPENDS bench/*_bench.cpp)
foreach(source IN LISTS bench_sources)
    get_filename_component(target "${source}" NAME_WE)
    add_executable(${target} "${source}")
    target_include_directories(${target} PRIVATE lib)
    target_link_libraries(${target} PRIVATE orlo_inside orlo_warnings benchmark::benchmark_main)
    target_compile_definitions(${target} PRIVATE TALLYCSV_BINARY="$<TARGET_FILE:tallycsv>")
endforeach()
add_dependencies(small_files_bench tallycsv)

# The bench of the binary format has peers, one with generated code.
find_program(PROTOC protoc REQUIRED)
set(record "${PROJECT_BINARY_DIR}/bench_isxf/record.pb")
file(MAKE_DIRECTORY "${PROJECT_BINARY_DIR}/bench_isxf")
add_custom_command(OUTPUT "${record}.cc" "${record}.h" DEPENDS "${PROJECT_SOURCE_DIR}/bench/isxf/record.proto"
    COMMAND ${PROTOC} -I${PROJECT_SOURCE_DIR}/bench/isxf --cpp_out=${PROJECT_BINARY_DIR}/bench_isxf record.proto)
add_library(bench_isxf_record OBJECT "${record}.cc" "${record}.h")
add_dependencies(isxf_bench bench_isxf_record)
target_include_directories(isxf_bench SYSTEM PRIVATE "${PROJECT_BINARY_DIR}/bench_isxf")
target_compile_definitions(isxf_bench PRIVATE MSGPACK_NO_BOOST)
target_link_libraries(isxf_bench PRIVATE bench_isxf_record protobuf)

target_link_libraries(regex_bench PRIVATE re2 pcre2-8)  # its peers

foreach(name generate measure)
    add_executable(merge_${name} bench/merge/${name}.cpp)
    target_compile_features(merge_${name} PRIVATE cxx_std_20)
    target_link_libraries(merge_${name} PRIVATE orlo_warnings)
endforeach()
