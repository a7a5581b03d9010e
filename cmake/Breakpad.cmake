# Breakpad's client library, as the target brindlet_breakpad: the system's own where it is installed, else built
# from the source tree that scripts/setup.sh unpacks in the user's cache, outside the build folder (BREAKPAD_DEPS).

set(user_cache "$ENV{HOME}/.cache")
if(NOT "$ENV{XDG_CACHE_HOME}" STREQUAL "")
  set(user_cache "$ENV{XDG_CACHE_HOME}")
endif()
set(BREAKPAD_DEPS "${user_cache}/talvo-brindlet/breakpad/package/deps" CACHE PATH "Unpacked deps folder of the minidump package; unused where breakpad-client is installed")

# Of the same tree, which has it for amd64 alone; without it a build has no symbols.
if(CMAKE_HOST_SYSTEM_PROCESSOR STREQUAL "x86_64")
  set(dump_syms_hints HINTS "${BREAKPAD_DEPS}/../bin/linux-x64")
endif()
find_program(BREAKPAD_DUMP_SYMS dump_syms ${dump_syms_hints})

find_package(PkgConfig REQUIRED)
pkg_check_modules(BREAKPAD_CLIENT IMPORTED_TARGET breakpad-client)

if(BREAKPAD_CLIENT_FOUND)
  add_library(brindlet_breakpad INTERFACE)
  target_link_libraries(brindlet_breakpad INTERFACE PkgConfig::BREAKPAD_CLIENT)
  return()
endif()

if(NOT EXISTS "${BREAKPAD_DEPS}/breakpad/src/client/linux/handler/exception_handler.h")
  message(FATAL_ERROR "No breakpad-client on this system and no source tree in BREAKPAD_DEPS ('${BREAKPAD_DEPS}'). "
                      "Run ./run --build once, which fetches it.")
endif()

set(BREAKPAD_SOURCES
    client/minidump_file_writer
    client/linux/crash_generation/crash_generation_client
    client/linux/dump_writer_common/thread_info
    client/linux/dump_writer_common/ucontext_reader
    client/linux/handler/exception_handler
    client/linux/handler/minidump_descriptor
    client/linux/log/log
    client/linux/microdump_writer/microdump_writer
    client/linux/minidump_writer/linux_dumper
    client/linux/minidump_writer/linux_ptrace_dumper
    client/linux/minidump_writer/minidump_writer
    client/linux/minidump_writer/pe_file
    common/convert_UTF
    common/string_conversion
    common/linux/elfutils
    common/linux/file_id
    common/linux/guid_creator
    common/linux/linux_libc_support
    common/linux/memory_mapped_file
    common/linux/safe_readlink)
list(TRANSFORM BREAKPAD_SOURCES PREPEND "${BREAKPAD_DEPS}/breakpad/src/")
list(TRANSFORM BREAKPAD_SOURCES APPEND ".cc")

add_library(brindlet_breakpad STATIC ${BREAKPAD_SOURCES})
target_compile_features(brindlet_breakpad PRIVATE cxx_std_17)
# Not ours to warn about, and it must not be instrumented: it runs in a process that has just crashed.
target_compile_options(brindlet_breakpad PRIVATE -w -fno-sanitize=all)
target_compile_definitions(brindlet_breakpad PUBLIC HAVE_GETCONTEXT=1)
target_include_directories(brindlet_breakpad SYSTEM PUBLIC ${BREAKPAD_DEPS}/breakpad/src ${BREAKPAD_DEPS})
