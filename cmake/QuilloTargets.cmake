# What every target of ours has in common: language, warnings, sanitizers, include root.

add_library(quillo_build_options INTERFACE)
target_compile_features(quillo_build_options INTERFACE cxx_std_20)
target_compile_options(quillo_build_options INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wnon-virtual-dtor -Woverloaded-virtual
    $<$<BOOL:${QUILLO_WARNINGS_AS_ERRORS}>:-Werror>)
if(MINGW AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
    # It sees overlapping memory in a literal + string where there is none.
    target_compile_options(quillo_build_options INTERFACE -Wno-restrict)
endif()
if(QUILLO_SANITIZE)
    target_compile_options(quillo_build_options INTERFACE -fsanitize=${QUILLO_SANITIZE} -fno-omit-frame-pointer)
    target_link_options(quillo_build_options INTERFACE -fsanitize=${QUILLO_SANITIZE})
    if(QUILLO_SANITIZE MATCHES "undefined")
        target_compile_options(quillo_build_options INTERFACE -fno-sanitize-recover=undefined)
    endif()
endif()

include(Hardening)

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)

# quillo_add_library(NAME SOURCES... [LINK LIBRARIES...] [EXPOSE LIBRARIES...]): the library of one folder of src/, with the
# libraries that it may use; those that its headers name are exposed to its users as well. The headers of other folders
# are not found: each library has an include folder of its own, with nothing in it but a link to its sources.
function(quillo_add_library name)
    cmake_parse_arguments(arg "" "" "LINK;EXPOSE" ${ARGN})
    add_library(${name} STATIC ${arg_UNPARSED_ARGUMENTS})
    set(include_folder "${PROJECT_BINARY_DIR}/include/${name}")
    cmake_path(RELATIVE_PATH CMAKE_CURRENT_SOURCE_DIR BASE_DIRECTORY "${PROJECT_SOURCE_DIR}/src" OUTPUT_VARIABLE folder)
    cmake_path(GET folder PARENT_PATH parent)
    file(MAKE_DIRECTORY "${include_folder}/${parent}")
    file(CREATE_LINK "${CMAKE_CURRENT_SOURCE_DIR}" "${include_folder}/${folder}" SYMBOLIC)
    target_include_directories(${name} PUBLIC "${include_folder}")
    target_link_libraries(${name} PUBLIC ${arg_EXPOSE} PRIVATE ${arg_LINK} quillo_build_options)
endfunction()
