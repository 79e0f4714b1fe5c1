# One variant = the library, the tool, the tests and the fuzz replayers, all built with the same
# extra flags. Every source folder is an OBJECT library so that all of them link the same objects.
set(QUILLET_FOLDERS pdf streams fonts shaping structure forms)

function(quillet_add_variant suffix flags)
  set(label plain)
  if(suffix)
    set(label sanitized)
  endif()

  if(QUILLET_LIBFUZZER)
    # The library itself carries the coverage counters that guide the fuzzer.
    list(APPEND flags -fsanitize=fuzzer-no-link)
  endif()

  set(objs)
  foreach(folder IN LISTS QUILLET_FOLDERS)
    file(GLOB srcs CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/${folder}/*.cpp)
    if(NOT srcs)
      continue()
    endif()
    set(t marrow_${folder}${suffix})
    add_library(${t} OBJECT ${srcs})
    target_include_directories(${t} PUBLIC ${PROJECT_SOURCE_DIR})
    target_compile_options(${t} PRIVATE ${flags})
    target_link_libraries(${t} PRIVATE quillet_warnings ZLIB::ZLIB PkgConfig::NETTLE
                          PkgConfig::SHAPING)
    list(APPEND objs $<TARGET_OBJECTS:${t}>)
  endforeach()

  add_library(marrow${suffix} STATIC ${objs})
  target_include_directories(marrow${suffix} PUBLIC ${PROJECT_SOURCE_DIR})
  target_link_libraries(marrow${suffix} PUBLIC ZLIB::ZLIB PkgConfig::NETTLE PkgConfig::SHAPING)
  target_link_options(marrow${suffix} PUBLIC ${flags})

  file(GLOB tool_srcs CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/tool/*.cpp)
  list(FILTER tool_srcs EXCLUDE REGEX "/main\\.cpp$")
  add_library(quillet_tool${suffix} STATIC ${tool_srcs})
  target_compile_options(quillet_tool${suffix} PRIVATE ${flags})
  target_link_libraries(quillet_tool${suffix} PUBLIC marrow${suffix} ${CSV_LIBRARY}
                        PRIVATE quillet_warnings)
  target_include_directories(quillet_tool${suffix} PRIVATE ${NLOHMANN_JSON_INCLUDE} ${CSV_INCLUDE})

  add_executable(quillet${suffix} ${PROJECT_SOURCE_DIR}/tool/main.cpp)
  target_compile_options(quillet${suffix} PRIVATE ${flags})
  target_link_libraries(quillet${suffix} PRIVATE quillet_tool${suffix} quillet_warnings)

  # Fuzz targets: test and fuzz builds compile them, with a stand-alone runner that replays files
  # unless libFuzzer drives them; the release build is the tool alone.
  # Where a sanitized variant exists, only it replays the seeds: a seed that breaks the plain build
  # breaks the sanitized one too, which also sees what the plain one cannot.
  set(fuzz_srcs)
  set(fuzz_here TRUE)
  if(QUILLET_SANITIZED AND NOT suffix AND NOT QUILLET_LIBFUZZER)
    set(fuzz_here FALSE)
  endif()
  if(fuzz_here AND (QUILLET_TESTS OR QUILLET_LIBFUZZER))
    file(GLOB fuzz_srcs CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/fuzz/fuzz_*.cpp)
  endif()
  foreach(src IN LISTS fuzz_srcs)
    get_filename_component(name ${src} NAME_WE)
    add_executable(${name}${suffix} ${src})
    target_compile_options(${name}${suffix} PRIVATE ${flags})
    target_link_libraries(${name}${suffix} PRIVATE quillet_tool${suffix} quillet_warnings)
    if(QUILLET_LIBFUZZER)
      target_compile_options(${name}${suffix} PRIVATE -fsanitize=fuzzer)
      target_link_options(${name}${suffix} PRIVATE -fsanitize=fuzzer)
    else()
      target_sources(${name}${suffix} PRIVATE ${PROJECT_SOURCE_DIR}/fuzz/standalone_runner.cpp)
    endif()
    if(QUILLET_TESTS AND NOT QUILLET_LIBFUZZER)
      add_test(NAME ${name}_replay${suffix}
               COMMAND ${name}${suffix} ${PROJECT_SOURCE_DIR}/fuzz/corpus/${name})
      set_tests_properties(${name}_replay${suffix} PROPERTIES LABELS "${label};fuzz")
    endif()
  endforeach()

  if(QUILLET_TESTS)
    find_package(GTest REQUIRED)
    file(GLOB_RECURSE test_srcs CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/tests/*.cpp)
    add_executable(marrow_tests${suffix} ${test_srcs})
    target_compile_options(marrow_tests${suffix} PRIVATE ${flags})
    target_link_libraries(marrow_tests${suffix} PRIVATE quillet_tool${suffix} GTest::gtest
                          GTest::gtest_main quillet_warnings)
    target_compile_definitions(marrow_tests${suffix} PRIVATE
      QUILLET_SOURCE_DIR="${PROJECT_SOURCE_DIR}")
    # The test files are built without optimisation: the code they test is optimised in the
    # library, and optimising GoogleTest's expanded macros costs half of the build.
    target_compile_options(marrow_tests${suffix} PRIVATE -O0)
    add_test(NAME unit${suffix} COMMAND marrow_tests${suffix} --gtest_filter=-Corpus*)
    add_test(NAME corpus${suffix} COMMAND ${PROJECT_SOURCE_DIR}/tests/corpus/run_corpus.sh
             $<TARGET_FILE:marrow_tests${suffix}>)
    set_tests_properties(unit${suffix} corpus${suffix} PROPERTIES LABELS "${label}"
      ENVIRONMENT "QUILLET_BIN=$<TARGET_FILE:quillet${suffix}>")
    set_tests_properties(corpus${suffix} PROPERTIES SKIP_RETURN_CODE 77)
  endif()
endfunction()

if(QUILLET_TESTS)
  add_test(NAME lint COMMAND ${PROJECT_SOURCE_DIR}/tools/lint.sh)
  set_tests_properties(lint PROPERTIES LABELS "plain")
  add_test(NAME install COMMAND ${PROJECT_SOURCE_DIR}/tools/check_install.sh ${PROJECT_BINARY_DIR})
  set_tests_properties(install PROPERTIES LABELS "plain" SKIP_RETURN_CODE 77)
endif()
