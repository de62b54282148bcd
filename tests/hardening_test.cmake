# Reads back from a program or library what hardening has left in it.
# cmake -DREADELF=... -DOBJDUMP=... -DFILE=... -DFUNCTION=one of its own -DPROCESSOR=... -P hardening_test.cmake
execute_process(COMMAND ${READELF} --wide --dynamic --segments --dyn-syms ${FILE}
                OUTPUT_VARIABLE text COMMAND_ERROR_IS_FATAL ANY)
set(number "0x[0-9a-f]+ +")
set(wanted "BIND_NOW" "GNU_RELRO" "GNU_STACK +${number}${number}${number}${number}${number}RW "
           "__stack_chk_fail" "__[a-z_]+_chk@")

# The note that turns it on stands only where the system's own start files have it too, which Debian's have
# not; so the code is what is looked at.
execute_process(COMMAND ${OBJDUMP} --no-show-raw-insn --disassemble=${FUNCTION} ${FILE}
                OUTPUT_VARIABLE code COMMAND_ERROR_IS_FATAL ANY)
string(APPEND text "${code}")
if(PROCESSOR MATCHES "^(x86_64|AMD64)$")
  list(APPEND wanted "<${FUNCTION}>:\n[^\n]*endbr64")
elseif(PROCESSOR MATCHES "^(aarch64|arm64)$")
  list(APPEND wanted "<${FUNCTION}>:\n[^\n]*(bti|paciasp)")
endif()

foreach(pattern IN LISTS wanted)
  if(NOT text MATCHES "${pattern}")
    message(SEND_ERROR "${FILE} has no ${pattern}")
  endif()
endforeach()
