# Warnings and Qt strictness for the project's own targets. Third-party code is never built here,
# so -Werror only ever judges our code.

set(MGIMPORT8_WARNINGS
    -Wall -Wextra -Wnon-virtual-dtor -Woverloaded-virtual -Wsuggest-override
    -Wzero-as-null-pointer-constant -Werror=return-type -Wcast-align -Wformat=2
    -Wimplicit-fallthrough)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    list(APPEND MGIMPORT8_WARNINGS -Wshadow=local)
endif()

set(MGIMPORT8_QT_DEFINES
    QT_NO_CAST_FROM_ASCII QT_NO_CAST_TO_ASCII QT_NO_CAST_FROM_BYTEARRAY
    QT_NO_NARROWING_CONVERSIONS_IN_CONNECT QT_USE_QSTRINGBUILDER QT_NO_URL_CAST_FROM_STRING
    QT_NO_FOREACH QT_STRICT_ITERATORS)

if(MGIMPORT8_SANITIZE)
    add_compile_options(-fsanitize=address,undefined -fno-omit-frame-pointer
                        -fno-sanitize-recover=undefined)
    add_link_options(-fsanitize=address,undefined)
endif()

# Applies the project's settings to one of its own targets.
function(mgimport8_settings target)
    target_compile_options(${target} PRIVATE ${MGIMPORT8_WARNINGS})
    if(MGIMPORT8_WERROR)
        target_compile_options(${target} PRIVATE -Werror)
    endif()
    target_compile_definitions(${target} PRIVATE ${MGIMPORT8_QT_DEFINES})
endfunction()

# One layer of the library: a static archive of position-independent code that the shared library
# takes whole, and that tests link on its own.
function(mgimport8_layer name)
    cmake_parse_arguments(ARG "" "" "SOURCES;LINK" ${ARGN})
    add_library(mgimport8_${name} STATIC ${ARG_SOURCES})
    mgimport8_settings(mgimport8_${name})
    target_include_directories(mgimport8_${name} PUBLIC
        "${PROJECT_SOURCE_DIR}/include" "${PROJECT_BINARY_DIR}/include" "${PROJECT_SOURCE_DIR}/src")
    target_link_libraries(mgimport8_${name} PUBLIC ${ARG_LINK})
endfunction()
