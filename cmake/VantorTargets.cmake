# File-name conventions decide what each source becomes, so that adding a
# component never means editing a shared list:
#   name.cpp                     library source (portable)
#   name_linux.cpp               library source built on Linux only
#   name_test.cpp                unit test          -> <lib>_tests
#   name_integration_test.cpp    real-OS test       -> <lib>_integration_tests
#   name_benchmark.cpp           Google Benchmark   -> one binary each (make bench)
#   name_fuzz.cpp                libFuzzer target   -> one binary each (make fuzz),
#                                seeds in fuzz_corpus/name/ beside it
#   name_qt.cpp                  Qt user-interface source -> the library's Qt
#                                target (e.g. plinth_qt), never the library itself
#   name_qt_test.cpp             Qt test (offscreen) -> <qt target>_tests
#   name_qt_integration_test.cpp Qt test on a display (Xvfb) and a private bus
#                                -> <qt target>_integration_tests
#   testing/*.cpp                test support shared by tests, benchmarks, demo

# vantor_collect(<dir> <out-prefix>) fills <out-prefix>_SOURCES, _TESTS,
# _INTEGRATION_TESTS, _BENCHMARKS, _FUZZERS, _QT_SOURCES, _QT_TESTS and
# _QT_INTEGRATION_TESTS from the .cpp files in <dir>.
function(vantor_collect dir prefix)
  file(GLOB _all CONFIGURE_DEPENDS "${dir}/*.cpp")
  set(_src "")
  set(_tests "")
  set(_itests "")
  set(_bench "")
  set(_fuzz "")
  set(_qt "")
  set(_qttests "")
  set(_qtitests "")
  foreach(f IN LISTS _all)
    get_filename_component(n "${f}" NAME)
    if(n MATCHES "_qt_integration_test\\.cpp$")
      list(APPEND _qtitests "${f}")
    elseif(n MATCHES "_qt_test\\.cpp$")
      list(APPEND _qttests "${f}")
    elseif(n MATCHES "_qt\\.cpp$")
      list(APPEND _qt "${f}")
    elseif(n MATCHES "_integration_test\\.cpp$")
      list(APPEND _itests "${f}")
    elseif(n MATCHES "_test\\.cpp$")
      list(APPEND _tests "${f}")
    elseif(n MATCHES "_benchmark\\.cpp$")
      list(APPEND _bench "${f}")
    elseif(n MATCHES "_fuzz\\.cpp$")
      list(APPEND _fuzz "${f}")
    elseif(n MATCHES "_linux\\.cpp$")
      if(CMAKE_SYSTEM_NAME STREQUAL "Linux")
        list(APPEND _src "${f}")
      endif()
    elseif(n MATCHES "_(mac|win)\\.(cpp|mm)$")
      # other platforms' implementations are not built here
    else()
      list(APPEND _src "${f}")
    endif()
  endforeach()
  set(${prefix}_SOURCES "${_src}" PARENT_SCOPE)
  set(${prefix}_TESTS "${_tests}" PARENT_SCOPE)
  set(${prefix}_INTEGRATION_TESTS "${_itests}" PARENT_SCOPE)
  set(${prefix}_BENCHMARKS "${_bench}" PARENT_SCOPE)
  set(${prefix}_FUZZERS "${_fuzz}" PARENT_SCOPE)
  set(${prefix}_QT_SOURCES "${_qt}" PARENT_SCOPE)
  set(${prefix}_QT_TESTS "${_qttests}" PARENT_SCOPE)
  set(${prefix}_QT_INTEGRATION_TESTS "${_qtitests}" PARENT_SCOPE)
endfunction()

# vantor_library(<target> DIRS <dir>...) builds a library from the sources of
# the listed folders and registers their tests, benchmarks and fuzzers.
# Extra test-only dependencies go in TEST_LIBS. With QT_TARGET, the folders'
# _qt sources form a second library of that name on top of <target>, linking
# QT_LIBS, so that programs that link <target> alone never link Qt.
function(vantor_library target)
  cmake_parse_arguments(A "" "QT_TARGET" "DIRS;TEST_LIBS;QT_LIBS" ${ARGN})
  set(src "")
  set(tests "")
  set(itests "")
  set(bench "")
  set(fuzz "")
  set(qt "")
  set(qttests "")
  set(qtitests "")
  foreach(d IN LISTS A_DIRS)
    vantor_collect("${CMAKE_CURRENT_SOURCE_DIR}/${d}" C)
    list(APPEND src ${C_SOURCES})
    list(APPEND tests ${C_TESTS})
    list(APPEND itests ${C_INTEGRATION_TESTS})
    list(APPEND bench ${C_BENCHMARKS})
    list(APPEND fuzz ${C_FUZZERS})
    list(APPEND qt ${C_QT_SOURCES})
    list(APPEND qttests ${C_QT_TESTS})
    list(APPEND qtitests ${C_QT_INTEGRATION_TESTS})
  endforeach()
  add_library(${target} ${src})
  # Build-only: the warning set is no part of what consumers link.
  target_link_libraries(${target} PRIVATE $<BUILD_INTERFACE:vantor_warnings>)
  set(${target}_BENCH "${bench}" PARENT_SCOPE)

  if(VANTOR_TESTS AND tests)
    add_executable(${target}_tests ${tests})
    target_link_libraries(${target}_tests PRIVATE ${target} vantor_warnings GTest::gtest GTest::gmock GTest::gtest_main ${A_TEST_LIBS})
    gtest_discover_tests(${target}_tests PROPERTIES LABELS "unit" DISCOVERY_TIMEOUT 60)
  endif()
  if(VANTOR_TESTS AND itests)
    add_executable(${target}_integration_tests ${itests})
    target_link_libraries(${target}_integration_tests PRIVATE ${target} vantor_warnings GTest::gtest GTest::gmock GTest::gtest_main ${A_TEST_LIBS})
    gtest_discover_tests(${target}_integration_tests PROPERTIES LABELS "integration" DISCOVERY_TIMEOUT 60)
  endif()
  if(VANTOR_BENCHMARKS)
    foreach(b IN LISTS bench)
      get_filename_component(n "${b}" NAME_WE)
      add_executable(${n} ${b})
      target_link_libraries(${n} PRIVATE ${target} vantor_warnings benchmark::benchmark benchmark::benchmark_main ${A_TEST_LIBS})
      set_property(GLOBAL APPEND PROPERTY VANTOR_BENCHMARK_LINES "$<TARGET_FILE:${n}>")
    endforeach()
  endif()
  if(VANTOR_FUZZERS)
    foreach(z IN LISTS fuzz)
      get_filename_component(n "${z}" NAME_WE)
      get_filename_component(zdir "${z}" DIRECTORY)
      add_executable(${n} ${z})
      target_compile_options(${n} PRIVATE -fsanitize=fuzzer)
      target_link_options(${n} PRIVATE -fsanitize=fuzzer)
      target_link_libraries(${n} PRIVATE ${target} ${A_TEST_LIBS})
      set_property(GLOBAL APPEND PROPERTY VANTOR_FUZZ_LINES "$<TARGET_FILE:${n}> ${zdir}/fuzz_corpus/${n}")
    endforeach()
  endif()
  if(A_QT_TARGET AND qt)
    vantor_qt_library(${A_QT_TARGET} ${target} SOURCES ${qt} TESTS ${qttests} INTEGRATION_TESTS ${qtitests}
      LIBS ${A_QT_LIBS} TEST_LIBS ${A_TEST_LIBS})
  endif()
endfunction()

# The Qt user-interface library of <base>: moc runs on its sources, Qt's
# keywords are off (GIO's headers use the names `signals` and `slots`), and
# its tests run on the offscreen platform with a private runtime folder
# (testing/qt_test_main.cpp), so they need no display.
function(vantor_qt_library target base)
  cmake_parse_arguments(A "" "" "SOURCES;TESTS;INTEGRATION_TESTS;LIBS;TEST_LIBS" ${ARGN})
  add_library(${target} ${A_SOURCES})
  set_target_properties(${target} PROPERTIES AUTOMOC ON)
  # Private: the headers use no keyword, so consumers keep their own choice.
  target_compile_definitions(${target} PRIVATE QT_NO_KEYWORDS)
  target_link_libraries(${target} PUBLIC ${base} ${A_LIBS} PRIVATE $<BUILD_INTERFACE:vantor_warnings>)
  foreach(kind IN ITEMS tests integration_tests)
    if(kind STREQUAL "tests")
      set(files ${A_TESTS})
      set(label unit)
    else()
      set(files ${A_INTEGRATION_TESTS})
      set(label integration)
    endif()
    if(NOT VANTOR_TESTS OR NOT files)
      continue()
    endif()
    add_executable(${target}_${kind} ${files} ${PROJECT_SOURCE_DIR}/testing/qt_test_main.cpp)
    set_target_properties(${target}_${kind} PROPERTIES AUTOMOC ON)
    target_compile_definitions(${target}_${kind} PRIVATE QT_NO_KEYWORDS)
    target_link_libraries(${target}_${kind} PRIVATE ${target} vantor_warnings GTest::gtest GTest::gmock Qt6::Test ${A_TEST_LIBS})
    gtest_discover_tests(${target}_${kind} PROPERTIES LABELS "${label}" DISCOVERY_TIMEOUT 60
      ENVIRONMENT "QT_QPA_PLATFORM=offscreen")
  endforeach()
endfunction()

# vantor_resource_bundle(<target> <bundle folder>): copies the bundle (say
# Plinth/Plinth_Plinth.bundle) to share/vantor/ in the build folder before
# <target> builds, and installs it to <datadir>/vantor. Programs in the build
# tree sit one folder below its top, so share/vantor beside their folder is
# where an installed program finds it too (<prefix>/bin/../share/vantor).
function(vantor_resource_bundle target folder)
  get_filename_component(name "${folder}" NAME)
  file(GLOB_RECURSE files CONFIGURE_DEPENDS "${folder}/*")
  set(out "${PROJECT_BINARY_DIR}/share/vantor/${name}")
  set(stamp "${CMAKE_CURRENT_BINARY_DIR}/${name}.stamp")
  add_custom_command(OUTPUT "${stamp}"
    COMMAND ${CMAKE_COMMAND} -E rm -rf "${out}"
    COMMAND ${CMAKE_COMMAND} -E copy_directory "${folder}" "${out}"
    COMMAND ${CMAKE_COMMAND} -E touch "${stamp}"
    DEPENDS ${files}
    COMMENT "Placing ${name}")
  add_custom_target(${target}_bundle DEPENDS "${stamp}")
  add_dependencies(${target} ${target}_bundle)
  if(VANTOR_INSTALL)
    # A package of their own: every version of the libraries reads the same texts.
    install(DIRECTORY "${folder}" DESTINATION ${CMAKE_INSTALL_DATADIR}/vantor COMPONENT common)
  endif()
endfunction()

# Writes benchmarks.txt and fuzzers.txt into the build folder: one binary per
# line (a fuzzer's line also names its seed corpus), read by scripts/.
function(vantor_write_manifests)
  get_property(b GLOBAL PROPERTY VANTOR_BENCHMARK_LINES)
  get_property(f GLOBAL PROPERTY VANTOR_FUZZ_LINES)
  list(JOIN b "\n" bt)
  list(JOIN f "\n" ft)
  file(GENERATE OUTPUT "${PROJECT_BINARY_DIR}/benchmarks.txt" CONTENT "${bt}\n")
  file(GENERATE OUTPUT "${PROJECT_BINARY_DIR}/fuzzers.txt" CONTENT "${ft}\n")
endfunction()
