# Runs the catalogue's generator into WORK and fails unless it made exactly
# the files committed in COMMITTED, byte for byte.
file(REMOVE_RECURSE ${WORK})
execute_process(COMMAND ${GENERATOR} ${WORK} RESULT_VARIABLE result)
if(NOT result EQUAL 0)
    message(FATAL_ERROR "${GENERATOR} failed: ${result}")
endif()
file(GLOB made RELATIVE ${WORK} ${WORK}/*)
file(GLOB committed RELATIVE ${COMMITTED} ${COMMITTED}/*)
list(SORT made)
list(SORT committed)
if(NOT made STREQUAL committed)
    message(FATAL_ERROR "the files differ:\n made: ${made}\n committed: ${committed}\n"
                        "scripts/bad-inputs.sh remakes them")
endif()
foreach(name IN LISTS made)
    file(SHA256 "${WORK}/${name}" made_hash)
    file(SHA256 "${COMMITTED}/${name}" committed_hash)
    if(NOT made_hash STREQUAL committed_hash)
        message(FATAL_ERROR "${name} differs from what the generator makes; "
                            "scripts/bad-inputs.sh remakes the catalogue")
    endif()
endforeach()
