# Runs the program with symbols bound as they are first called, and compares what the dynamic linker then bound for it
# with the functions of the library.
execute_process(COMMAND nm -D --defined-only ${LIBRARY} OUTPUT_VARIABLE _symbols COMMAND_ERROR_IS_FATAL ANY)
string(REGEX MATCHALL " [TWi] [^\n]+" _exported "${_symbols}")
list(TRANSFORM _exported REPLACE "^ [TWi] " "")

file(REMOVE_RECURSE ${WORK})
file(MAKE_DIRECTORY ${WORK})
execute_process(COMMAND ${CMAKE_COMMAND} -E env --unset=LD_BIND_NOW VF_SHAREHUB_DIR=${WORK}/blocks
    LD_DEBUG=libs,bindings LD_DEBUG_OUTPUT=${WORK}/linker ${PROGRAM} COMMAND_ERROR_IS_FATAL ANY)
file(GLOB _log ${WORK}/linker.*)
file(STRINGS ${_log} _bindings REGEX "transferring control:|binding file ${PROGRAM} .* normal symbol")
# What is bound before main is not called by that.
string(REGEX REPLACE "^.*transferring control:" "" _called "${_bindings}")
string(REGEX MATCHALL "`[^']+'" _called "${_called}")
list(TRANSFORM _called REPLACE "[`']" "")
set(_missing ${_exported})
list(REMOVE_ITEM _missing ${_called})
list(LENGTH _exported _count)
if(_missing OR _count EQUAL 0)
    message(FATAL_ERROR "of ${_count} functions these are not called: ${_missing}")
endif()
