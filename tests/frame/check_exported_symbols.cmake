# Compares the shared library's defined dynamic symbols, demangled, with the
# reviewed list in exported_symbols.txt: the host's surface, nothing more.
# Usage: cmake -DLIBRARY=<lib> -DEXPECTED=<list> -P check_exported_symbols.cmake
find_program(NM nm REQUIRED)
find_program(CXXFILT c++filt REQUIRED)
execute_process(COMMAND ${NM} -D --defined-only ${LIBRARY}
                COMMAND ${CXXFILT}
                OUTPUT_VARIABLE listing RESULT_VARIABLE status)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "nm failed on ${LIBRARY}")
endif()
string(REPLACE "\n" ";" lines "${listing}")
set(actual)
foreach(line IN LISTS lines)
  # "<address> <type> <name>"; keep type and name.
  if(line MATCHES "^[0-9a-fA-F]+ ([A-Za-z]) (.*)$")
    list(APPEND actual "${CMAKE_MATCH_1} ${CMAKE_MATCH_2}")
  endif()
endforeach()
list(SORT actual)
file(STRINGS ${EXPECTED} expected)
list(SORT expected)
if(NOT actual STREQUAL expected)
  set(missing ${expected})
  list(REMOVE_ITEM missing ${actual})
  set(extra ${actual})
  list(REMOVE_ITEM extra ${expected})
  message(FATAL_ERROR "exported symbols differ\n  missing: ${missing}\n  unexpected: ${extra}")
endif()
list(LENGTH actual count)
message(STATUS "${count} exported symbols as reviewed")
