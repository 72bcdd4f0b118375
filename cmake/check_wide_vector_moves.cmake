# Checks that a Windows binary holds the AVX2 and AVX-512 code and moves no
# 32- or 64-byte vector to or from memory with an aligned move: the Windows
# stack is aligned to 16 bytes only, and such a move faults on a slot that is not.
#   cmake -DOBJDUMP=... -DBINARY=... -P check_wide_vector_moves.cmake
cmake_minimum_required(VERSION 3.25)
execute_process(COMMAND ${OBJDUMP} -d --no-show-raw-insn ${BINARY}
                OUTPUT_VARIABLE dump RESULT_VARIABLE status)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "check_wide_vector_moves: ${OBJDUMP} -d ${BINARY} failed")
endif()
# Without the wide walks there is nothing to check, and that is itself wrong.
string(REGEX MATCHALL "[^\n]*%ymm[^\n]*" ymm_lines "${dump}")
string(REGEX MATCHALL "[^\n]*%zmm[^\n]*" zmm_lines "${dump}")
list(LENGTH ymm_lines ymm_count)
list(LENGTH zmm_lines zmm_count)
if(ymm_count EQUAL 0 OR zmm_count EQUAL 0)
  message(FATAL_ERROR "${BINARY} holds ${ymm_count} instructions on 256-bit and ${zmm_count} "
                      "on 512-bit registers: the AVX2 and AVX-512 walks are missing")
endif()
# Aligned and non-temporal moves (AT&T syntax) of a ymm or zmm register with a
# memory operand, in either direction; register-to-register moves are harmless.
set(aligned "vmov(aps|apd|dqa|dqa32|dqa64|ntps|ntpd|ntdq|ntdqa)[ \t]")
set(faulting)
foreach(line IN LISTS ymm_lines zmm_lines)
  if(line MATCHES "${aligned}" AND line MATCHES "\\(")
    list(APPEND faulting "${line}")
  endif()
endforeach()
if(faulting)
  list(JOIN faulting "\n" shown)
  message(FATAL_ERROR "${BINARY} moves wide vectors with aligned moves:\n${shown}")
endif()
message(STATUS "${BINARY}: ${ymm_count} instructions on ymm and ${zmm_count} on zmm "
               "registers, no aligned wide move to or from memory")
