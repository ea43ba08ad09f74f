# Android's liblog, libutils, libcutils and libbase as Debian ships them: headers under
# /usr/include/android, libraries under /usr/lib/<triplet>/android, no pkg-config or CMake
# config. Wrapping them as IMPORTED targets makes their headers system headers (so our
# -Werror stays possible) and gives the build tree an rpath to the private library folder.
set(VELORA_ANDROID_INCLUDE_DIR "/usr/include/android" CACHE PATH "Android platform headers")
set(VELORA_ANDROID_LIB_DIR "/usr/lib/${CMAKE_LIBRARY_ARCHITECTURE}/android"
    CACHE PATH "Android platform libraries")

function(velora_import_android_lib target name)
    find_library(_velora_lib_${name} NAMES ${name} PATHS ${VELORA_ANDROID_LIB_DIR} NO_DEFAULT_PATH)
    if(NOT _velora_lib_${name})
        message(FATAL_ERROR "lib${name}.so not found in ${VELORA_ANDROID_LIB_DIR}; "
                            "install android-lib${name}-dev")
    endif()
    add_library(${target} SHARED IMPORTED GLOBAL)
    set_target_properties(${target} PROPERTIES
        IMPORTED_LOCATION "${_velora_lib_${name}}"
        INTERFACE_INCLUDE_DIRECTORIES "${VELORA_ANDROID_INCLUDE_DIR}")
endfunction()

velora_import_android_lib(android::log log)
velora_import_android_lib(android::cutils cutils)
velora_import_android_lib(android::base base)
velora_import_android_lib(android::utils utils)
set_property(TARGET android::utils APPEND PROPERTY INTERFACE_LINK_LIBRARIES android::log android::cutils)

list(APPEND CMAKE_INSTALL_RPATH "${VELORA_ANDROID_LIB_DIR}")
