# Finds PortAudio 19 and defines the imported target PortAudio::PortAudio.
find_path(PortAudio_INCLUDE_DIR portaudio.h)
find_library(PortAudio_LIBRARY portaudio)
include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(PortAudio REQUIRED_VARS PortAudio_LIBRARY PortAudio_INCLUDE_DIR)
if(PortAudio_FOUND AND NOT TARGET PortAudio::PortAudio)
    add_library(PortAudio::PortAudio UNKNOWN IMPORTED)
    set_target_properties(PortAudio::PortAudio PROPERTIES
        IMPORTED_LOCATION "${PortAudio_LIBRARY}" INTERFACE_INCLUDE_DIRECTORIES "${PortAudio_INCLUDE_DIR}")
    if(WIN32) # a static library, which names what it needs nowhere
        set_target_properties(PortAudio::PortAudio PROPERTIES
            INTERFACE_LINK_LIBRARIES "winmm;ole32;uuid;setupapi;ksuser")
    endif()
endif()
mark_as_advanced(PortAudio_INCLUDE_DIR PortAudio_LIBRARY)
