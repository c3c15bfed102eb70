# What people choose is spelled in CMakePresets.json; these are the words that it uses.
option(VANTOREL_TESTS "Build the tests" ON)
option(VANTOREL_FUZZ "Build the fuzz targets" OFF)
option(VANTOREL_BENCH "Build the benchmarks" OFF)
option(VANTOREL_WERROR "Warnings are errors" OFF)
option(VANTOREL_DEBIAN "Lay the files out as a Debian package has them, with its copyright and changelog" OFF)
option(VANTOREL_SHIPPED "Build as for other people's machines: hardened, and the same bytes wherever it is built" OFF)
set(VANTOREL_SANITIZE "" CACHE STRING "Sanitizers: address;undefined or thread")

add_library(vantorel-warnings INTERFACE)
target_compile_options(vantorel-warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion $<$<BOOL:${VANTOREL_WERROR}>:-Werror>)

# With optimisation GCC 12 takes copies inside std::string, std::optional and std::expected for faults (its reports 105562,
# 105651); Clang and the sanitizers look for the real ones.
target_compile_options(vantorel-warnings INTERFACE
  $<$<AND:$<CXX_COMPILER_ID:GNU>,$<CONFIG:RelWithDebInfo>>:-Wno-restrict;-Wno-maybe-uninitialized>)

# Newer Clangs complain of a deprecated function inside the standard library's own stable_partition (libstdc++ 12).
target_compile_options(vantorel-warnings INTERFACE $<$<CXX_COMPILER_ID:Clang>:-Wno-deprecated-declarations>)

add_library(vantorel-sanitizers INTERFACE)
if(VANTOREL_SANITIZE)
  list(JOIN VANTOREL_SANITIZE "," _sanitize)
  set(_flags -fsanitize=${_sanitize} -fno-omit-frame-pointer)
  if(VANTOREL_SANITIZE MATCHES undefined)
    list(APPEND _flags -fno-sanitize-recover=undefined)
  endif()
  target_compile_options(vantorel-sanitizers INTERFACE ${_flags})
  target_link_options(vantorel-sanitizers INTERFACE ${_flags})
endif()

# No path of the build's machine stays in the programs, also not in their debug information.
if(VANTOREL_SHIPPED)
  add_compile_options(-ffile-prefix-map=${CMAKE_BINARY_DIR}=build -ffile-prefix-map=${CMAKE_SOURCE_DIR}=.
    -fstack-protector-strong -D_FORTIFY_SOURCE=2)
  if(NOT APPLE)
    add_link_options(-Wl,-z,relro,-z,now -Wl,--as-needed)
  endif()
endif()
