# Checks that a Windows binary imports only DLLs every Windows system has,
# besides those named in ALLOWED (the tool ships beside its own deflash.dll).
#   cmake -DOBJDUMP=... -DBINARY=... [-DALLOWED=deflash.dll] -P check_imports.cmake
cmake_minimum_required(VERSION 3.25)
execute_process(COMMAND ${OBJDUMP} -p ${BINARY} OUTPUT_VARIABLE dump RESULT_VARIABLE status)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "check_imports: ${OBJDUMP} -p ${BINARY} failed")
endif()
string(REGEX MATCHALL "DLL Name: [^\n]+" lines "${dump}")
set(foreign)
foreach(line IN LISTS lines)
  string(REGEX REPLACE "^DLL Name: " "" name "${line}")
  string(TOLOWER "${name}" lower)
  # The system's kernel and C runtime (the old msvcrt or the universal CRT's
  # api sets); anything else (libstdc++-6.dll, libgcc_s_seh-1.dll,
  # libwinpthread-1.dll) would have to be shipped beside the binary.
  string(TOLOWER "${ALLOWED}" allowed)
  if(NOT lower MATCHES "^(kernel32|msvcrt|ucrtbase|api-ms-win-[a-z0-9-]+)\\.dll$" AND
     NOT lower IN_LIST allowed)
    list(APPEND foreign ${name})
  endif()
endforeach()
if(foreign)
  message(FATAL_ERROR "${BINARY} depends on non-system DLLs: ${foreign}")
endif()
message(STATUS "${BINARY} imports only system DLLs: ${lines}")
