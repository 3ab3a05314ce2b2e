# SPDX-License-Identifier: Apache-2.0
# Settings that every target of this project shares: language level, warnings, sanitizers, coverage.

# A debug build is made many times a day. The compiler need not tidy up its memory before it has half a gigabyte, and
# programs are linked by a linker that takes half the time; the library by the one that links what is shipped. Tests
# have line numbers only: what describes their variables to a debugger takes a twelfth of the time.
set(HTTPCLIENT_QUICK_COMPILE "")
set(HTTPCLIENT_QUICK_LINK "")
set(HTTPCLIENT_LINES_ONLY "")
if(CMAKE_BUILD_TYPE STREQUAL "Debug" AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  set(HTTPCLIENT_QUICK_COMPILE --param=ggc-min-heapsize=524288)
  if(CMAKE_CXX_FLAGS_DEBUG MATCHES "^-g$") # other flags are somebody's wish
    set(HTTPCLIENT_LINES_ONLY -g1)
  endif()
  find_program(HTTPCLIENT_MOLD mold)
  if(HTTPCLIENT_MOLD AND NOT HTTPCLIENT_SANITIZE)
    set(HTTPCLIENT_QUICK_LINK -fuse-ld=mold)
  endif()
endif()

function(httpclient_target_settings target)
  target_compile_features(${target} PUBLIC cxx_std_17)
  set_target_properties(${target} PROPERTIES CXX_EXTENSIONS OFF)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wnon-virtual-dtor)
  target_compile_options(${target} PRIVATE ${HTTPCLIENT_QUICK_COMPILE})
  get_target_property(type ${target} TYPE)
  if(type STREQUAL "EXECUTABLE")
    target_link_options(${target} PRIVATE ${HTTPCLIENT_QUICK_LINK})
  endif()
  if(HTTPCLIENT_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
  if(HTTPCLIENT_SANITIZE)
    target_compile_options(${target} PRIVATE -fsanitize=${HTTPCLIENT_SANITIZE} -fno-omit-frame-pointer
                                             -fno-sanitize-recover=all)
    target_link_options(${target} PRIVATE -fsanitize=${HTTPCLIENT_SANITIZE})
    if(HTTPCLIENT_SANITIZE STREQUAL "thread" AND type STREQUAL "EXECUTABLE")
      target_sources(${target} PRIVATE "${PROJECT_SOURCE_DIR}/cmake/ThreadSanitizer.cpp")
    elseif(type STREQUAL "EXECUTABLE")
      target_sources(${target} PRIVATE "${PROJECT_SOURCE_DIR}/cmake/AddressSanitizer.cpp")
    endif()
  endif()
endfunction()

# Has a target's sources compiled several at a time, for what is mostly other people's headers: it takes half the time
# then, or less. Two sources of a target may not define the same name; one that does is taken out by
# SKIP_UNITY_BUILD_INCLUSION.
function(httpclient_compile_together target count)
  if(NOT DEFINED CMAKE_UNITY_BUILD)
    set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE ${count})
    # A fixture in an unnamed namespace is fine in a source, and the compiler takes these for headers.
    target_compile_options(${target} PRIVATE $<$<CXX_COMPILER_ID:GNU>:-Wno-subobject-linkage>)
  endif()
endfunction()

# The same for what is shipped, in debug builds only: elsewhere calls between its sources stay calls, as measurements and
# ceilings have them. What is counted is counted source by source.
function(httpclient_debug_together target)
  if(CMAKE_BUILD_TYPE STREQUAL "Debug" AND NOT HTTPCLIENT_COVERAGE)
    httpclient_compile_together(${target} 24)
  endif()
endfunction()

# The library's own code: in the preset "coverage" it counts which of its lines and branches are reached.
function(httpclient_coverage_settings target)
  if(HTTPCLIENT_COVERAGE)
    target_compile_options(${target} PRIVATE --coverage -fprofile-update=atomic) # it is reached by many threads
    # A forked child that ends by _exit() writes its counts by that function.
    target_link_options(${target} PUBLIC --coverage "LINKER:--undefined=__gcov_dump")
  endif()
endfunction()

# The code of a shared library of the package.
function(httpclient_shared_code target)
  # Calls out of the library go through its table of addresses at once, not through a stub first; calls within a
  # file may be inlined, though a host could define a function of the same name. Tests do, so that files which are
  # compiled together may not.
  target_compile_options(${target} PRIVATE -fno-plt)
  get_target_property(together ${target} UNITY_BUILD)
  if(NOT together)
    target_compile_options(${target} PRIVATE -fno-semantic-interposition)
  endif()
  set_target_properties(${target} PROPERTIES CXX_VISIBILITY_PRESET hidden POSITION_INDEPENDENT_CODE ON)
endfunction()

# A shared library of the package: versioned, found beside its neighbours wherever the tree is moved.
function(httpclient_shared_library target)
  httpclient_target_settings(${target})
  httpclient_debug_together(${target})
  httpclient_shared_code(${target})
  set_target_properties(${target} PROPERTIES
    VERSION ${PROJECT_VERSION}
    SOVERSION ${PROJECT_VERSION_MAJOR}
    INSTALL_RPATH "$ORIGIN"
    LIBRARY_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/lib"
    EXPORT_NAME ${target})
  add_library(httpclient::${target} ALIAS ${target})
endfunction()

# What the library's own code is compiled with besides: every message's format is compared with its arguments, signs
# included, and the preset "coverage" counts. Clang does not see that a message's format is a literal.
function(httpclient_own_code target)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    target_compile_options(${target} PRIVATE -Wformat=2 -Wformat-signedness -Wno-unknown-warning-option) # clang's tools lack it
  else()
    target_compile_options(${target} PRIVATE -Wno-format-security)
  endif()
  # In a host that loads the library late, the C library allocates the variables of a thread at their first use, and
  # ends the process where it cannot. These few bytes are there from the thread's beginning.
  target_compile_options(${target} PRIVATE -ftls-model=initial-exec)
  httpclient_coverage_settings(${target})
endfunction()

# A room of the library as objects, which the library and the tests of what it does not export are made of.
function(httpclient_room target)
  add_library(${target} OBJECT ${ARGN})
  httpclient_target_settings(${target})
  httpclient_debug_together(${target})
  httpclient_shared_code(${target})
  httpclient_own_code(${target})
  target_include_directories(${target} PUBLIC "${PROJECT_SOURCE_DIR}/include" "${PROJECT_SOURCE_DIR}/src")
endfunction()
