# Script mode: every interface of PACKAGES must be recorded in CURRENT with the hash hidl-gen
# computes for it now.
string(REPLACE ";" " " shown "${PACKAGES}")
execute_process(COMMAND ${HIDL_GEN} -L hash ${ROOTS} ${PACKAGES}
                OUTPUT_VARIABLE hashes ERROR_VARIABLE errors RESULT_VARIABLE result)
if(NOT result EQUAL 0)
    message(FATAL_ERROR "hidl-gen -L hash ${shown} failed:\n${errors}")
endif()
file(STRINGS "${CURRENT}" recorded REGEX "^[0-9a-f]+ ")
string(REPLACE "\n" ";" lines "${hashes}")
set(missing)
foreach(line IN LISTS lines)
    if(line STREQUAL "")
        continue()
    endif()
    list(FIND recorded "${line}" found)
    if(found EQUAL -1)
        string(APPEND missing "\n    ${line}")
    endif()
endforeach()
if(missing)
    message(FATAL_ERROR "${CURRENT} does not record these interface hashes:${missing}\n"
                        "A released interface must not change; record a new one with its hash.")
endif()
