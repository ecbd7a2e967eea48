# What makes faults harder to exploit, for everything that quillo_build_options reaches. tools/check-hardening.sh looks at
# the result. Sanitizers bring checks of their own, which these would hide.

include(CheckPIESupported)
check_pie_supported()
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

if(NOT QUILLO_SANITIZE)
    target_compile_options(quillo_build_options INTERFACE -fstack-protector-strong
        "$<$<NOT:$<OR:$<CONFIG:Debug>,$<BOOL:$<TARGET_PROPERTY:QUILLO_UNOPTIMISED>>>>:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=2>")
    if(WIN32)
        target_link_options(quillo_build_options INTERFACE
            -fstack-protector-strong -Wl,--dynamicbase,--nxcompat,--high-entropy-va)
    else()
        target_compile_options(quillo_build_options INTERFACE -fstack-clash-protection)
        target_link_options(quillo_build_options INTERFACE -Wl,-z,relro,-z,now,-z,noexecstack)
    endif()
endif()
