# A site's own platform library in place of the stand-in (docs/platform.md).

set(QUORIN_PLATFORM_LIBRARY "" CACHE STRING
  "Files of the platform's library, and linker options such as -lNAME; empty: the stand-in")
set(QUORIN_PLATFORM_INCLUDE "" CACHE PATH
  "Folder of the platform's own platform/*.h, which come before those of this tree")

if(NOT QUORIN_PLATFORM_LIBRARY)
  if(QUORIN_PLATFORM_INCLUDE)
    message(FATAL_ERROR "QUORIN_PLATFORM_INCLUDE needs a QUORIN_PLATFORM_LIBRARY: headers without their library")
  endif()
  # Besides the daemon, the program is linked again when these change.
  set(platform_inputs standin)
  return()
endif()

set(platform_inputs ${QUORIN_PLATFORM_LIBRARY})
list(FILTER platform_inputs EXCLUDE REGEX "^-")
foreach(file IN LISTS platform_inputs)
  if(NOT IS_ABSOLUTE "${file}")
    message(FATAL_ERROR "QUORIN_PLATFORM_LIBRARY: ${file} is neither a full path nor a linker option")
  elseif(NOT EXISTS "${file}" OR IS_DIRECTORY "${file}")
    message(FATAL_ERROR "QUORIN_PLATFORM_LIBRARY: there is no file ${file}")
  endif()
endforeach()

if(QUORIN_PLATFORM_INCLUDE)
  file(GLOB headers "${QUORIN_PLATFORM_INCLUDE}/platform/*.h")
  if(NOT headers)
    message(FATAL_ERROR "QUORIN_PLATFORM_INCLUDE: there is no ${QUORIN_PLATFORM_INCLUDE}/platform/*.h")
  endif()
endif()

# Headers that are not of this tree may warn.
set(CMAKE_COMPILE_WARNING_AS_ERROR OFF)
