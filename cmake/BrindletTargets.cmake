# One static library per folder. Each exports its own folder as include path and nothing else, so a file can
# only include headers of the folders that its target declares: a wrong include does not build.

add_library(brindlet_options INTERFACE)
target_compile_features(brindlet_options INTERFACE cxx_std_17)
target_compile_options(brindlet_options INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual -Wformat=2 -Werror)
# dump_syms finds no lines of functions that the compiler has split where DWARF 5 lists their parts.
target_compile_options(brindlet_options INTERFACE $<$<CONFIG:RelWithDebInfo>:-gdwarf-4>)
if(BRINDLET_SANITIZE)
  target_compile_options(brindlet_options INTERFACE
      -fsanitize=${BRINDLET_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  target_link_options(brindlet_options INTERFACE -fsanitize=${BRINDLET_SANITIZE})
  if(BRINDLET_SANITIZE STREQUAL "thread")
    # The thread sanitizer doesn't understand Asio's memory fences; Asio's locks, which it does, are enough.
    target_compile_definitions(brindlet_options INTERFACE BOOST_ASIO_DISABLE_FENCED_BLOCK)
  endif()
endif()

# brindlet_library(NAME SOURCES file... [DEPENDS target...]); without SOURCES a library of headers.
function(brindlet_library name)
  cmake_parse_arguments(ARG "" "" "SOURCES;DEPENDS" ${ARGN})
  if(ARG_SOURCES)
    add_library(${name} STATIC ${ARG_SOURCES})
    target_include_directories(${name} PUBLIC ${CMAKE_CURRENT_SOURCE_DIR})
    target_link_libraries(${name} PUBLIC ${ARG_DEPENDS} PRIVATE brindlet_options)
  else()
    add_library(${name} INTERFACE)
    target_include_directories(${name} INTERFACE ${CMAKE_CURRENT_SOURCE_DIR})
    target_link_libraries(${name} INTERFACE ${ARG_DEPENDS})
  endif()
endfunction()

# brindlet_executable(NAME SOURCES file... [DEPENDS target...]): an executable for people, in bin/.
function(brindlet_executable name)
  cmake_parse_arguments(ARG "" "" "SOURCES;DEPENDS" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE ${ARG_DEPENDS} brindlet_options)
  set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)
endfunction()

# brindlet_symbols(NAME): what reads the executable's minidumps, in symbols/.
function(brindlet_symbols name)
  if(BREAKPAD_DUMP_SYMS AND NOT BRINDLET_SANITIZE)
    add_custom_command(TARGET ${name} POST_BUILD VERBATIM
        COMMAND ${CMAKE_SOURCE_DIR}/scripts/symbols.sh ${BREAKPAD_DUMP_SYMS} $<TARGET_FILE:${name}>
                ${CMAKE_BINARY_DIR}/symbols)
  endif()
endfunction()

# brindlet_tests(NAME SOURCES file... [DEPENDS target...] [LABELS label...] [TIMEOUT seconds])
function(brindlet_tests name)
  cmake_parse_arguments(ARG "" "TIMEOUT" "SOURCES;DEPENDS;LABELS" ${ARGN})
  if(NOT ARG_TIMEOUT)
    set(ARG_TIMEOUT 60)
  endif()
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE ${ARG_DEPENDS} brindlet_options GTest::gmock GTest::gtest_main)
  gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 60
      PROPERTIES TIMEOUT ${ARG_TIMEOUT} LABELS "${ARG_LABELS}")
endfunction()
