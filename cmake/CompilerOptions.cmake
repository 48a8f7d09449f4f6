# What every target is compiled with: the interface library `quorin_options`.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
check_pie_supported()

set(QUORIN_SANITIZERS "" CACHE STRING "Sanitizers, as for -fsanitize=")
option(QUORIN_COVERAGE "Count what the tests execute" OFF)

add_library(quorin_options INTERFACE)
target_compile_options(quorin_options INTERFACE
  -Wall -Wextra -Wshadow -Wconversion -Wsign-conversion -Wold-style-cast
  -Woverloaded-virtual -Wformat=2 -Wundef
  # GCC 12 sees overlaps in std::string where there are none (its bug 105651).
  $<$<AND:$<CXX_COMPILER_ID:GNU>,$<VERSION_LESS:$<CXX_COMPILER_VERSION>,13>>:-Wno-restrict>
  # The same bytes in whatever folder the sources are.
  "-ffile-prefix-map=${CMAKE_CURRENT_SOURCE_DIR}=.")

if(QUORIN_SANITIZERS MATCHES thread)
  # GCC warns of the fences in the standard library's waits on atomics: ThreadSanitizer does not
  # know fences. Nothing here relies on one.
  target_compile_options(quorin_options INTERFACE $<$<CXX_COMPILER_ID:GNU>:-Wno-tsan>)
endif()
if(QUORIN_SANITIZERS)
  target_compile_options(quorin_options INTERFACE
    "-fsanitize=${QUORIN_SANITIZERS}" -fno-omit-frame-pointer -fno-sanitize-recover=all)
  target_link_options(quorin_options INTERFACE "-fsanitize=${QUORIN_SANITIZERS}")
else()
  target_compile_options(quorin_options INTERFACE -fstack-protector-strong -fstack-clash-protection)
  # Each kind of processor has its own way to keep jumps to their targets.
  if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64|i[3-6]86)$")
    target_compile_options(quorin_options INTERFACE -fcf-protection)
  elseif(CMAKE_SYSTEM_PROCESSOR MATCHES "^(aarch64|arm64)$")
    target_compile_options(quorin_options INTERFACE -mbranch-protection=standard)
  endif()
  target_compile_definitions(quorin_options INTERFACE
    $<$<CONFIG:Release,RelWithDebInfo>:_FORTIFY_SOURCE=2> _GLIBCXX_ASSERTIONS)
  target_link_options(quorin_options INTERFACE -Wl,-z,relro,-z,now,-z,noexecstack)
endif()

if(QUORIN_COVERAGE)
  target_compile_options(quorin_options INTERFACE --coverage -fprofile-update=atomic)
  target_link_options(quorin_options INTERFACE --coverage)
endif()
