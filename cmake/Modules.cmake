# vantorel_module(NAME SOURCES … LINKS … PRIVATE_LINKS …): one static library of a module; PUBLIC links are the modules
# that its headers include. Without sources it is a library of headers.
function(vantorel_module name)
  cmake_parse_arguments(arg "" "" "SOURCES;LINKS;PRIVATE_LINKS" ${ARGN})
  if(arg_SOURCES)
    add_library(${name} STATIC ${arg_SOURCES})
    target_include_directories(${name} PUBLIC ${CMAKE_SOURCE_DIR}/core)
    target_link_libraries(${name} PUBLIC ${arg_LINKS} PRIVATE ${arg_PRIVATE_LINKS} vantorel-warnings)
    target_link_libraries(${name} PUBLIC vantorel-sanitizers)
  else()
    add_library(${name} INTERFACE)
    target_include_directories(${name} INTERFACE ${CMAKE_SOURCE_DIR}/core)
    target_link_libraries(${name} INTERFACE ${arg_LINKS} vantorel-sanitizers)
  endif()
endfunction()

# vantorel_tests(NAME SOURCES … LINKS …): one GoogleTest program; every case is a test of its own for ctest.
function(vantorel_tests name)
  cmake_parse_arguments(arg "" "" "SOURCES;LINKS" ${ARGN})
  if(NOT arg_SOURCES)
    return()
  endif()
  add_executable(${name} ${arg_SOURCES})
  target_include_directories(${name} PRIVATE ${CMAKE_SOURCE_DIR} ${CMAKE_SOURCE_DIR}/tests)
  target_link_libraries(${name} PRIVATE ${arg_LINKS} vantorel-warnings vantorel-sanitizers GTest::gtest GTest::gmock
    GTest::gtest_main)
  include(GoogleTest)
  gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST PROPERTIES TIMEOUT 300)
endfunction()
