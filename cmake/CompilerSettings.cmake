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
# takes whole, and that tests link on its own. This is the one place that registers a layer: the
# shared library collects its objects from the list kept here.
#
# A layer's headers are reached by their path under src/ ("wizard/table/texttable.h"). Each layer
# publishes only its own headers, through links in a folder of the build tree, so that a layer
# sees the headers of the layers it links and no others.
set_property(GLOBAL PROPERTY MGIMPORT8_LAYERS "")
function(mgimport8_layer name)
    cmake_parse_arguments(ARG "" "" "SOURCES;LINK" ${ARGN})
    add_library(mgimport8_${name} STATIC ${ARG_SOURCES})
    mgimport8_settings(mgimport8_${name})

    set(headers_root "${PROJECT_BINARY_DIR}/layers/${name}")
    file(RELATIVE_PATH folder "${PROJECT_SOURCE_DIR}/src" "${CMAKE_CURRENT_SOURCE_DIR}")
    file(GLOB own_headers CONFIGURE_DEPENDS "${CMAKE_CURRENT_SOURCE_DIR}/*.h")
    foreach(source IN LISTS ARG_SOURCES)
        if(source MATCHES "\\.h$" AND NOT IS_ABSOLUTE "${source}")
            list(APPEND own_headers "${CMAKE_CURRENT_SOURCE_DIR}/${source}")
        endif()
    endforeach()
    list(REMOVE_DUPLICATES own_headers)
    file(REMOVE_RECURSE "${headers_root}")
    foreach(header IN LISTS own_headers)
        file(RELATIVE_PATH relative "${CMAKE_CURRENT_SOURCE_DIR}" "${header}")
        get_filename_component(link_folder "${headers_root}/${folder}/${relative}" DIRECTORY)
        file(MAKE_DIRECTORY "${link_folder}")
        file(CREATE_LINK "${header}" "${headers_root}/${folder}/${relative}" SYMBOLIC)
    endforeach()

    target_include_directories(mgimport8_${name} PUBLIC
        "${PROJECT_SOURCE_DIR}/include" "${PROJECT_BINARY_DIR}/include" "${headers_root}")
    target_link_libraries(mgimport8_${name} PUBLIC ${ARG_LINK})
    set_property(GLOBAL APPEND PROPERTY MGIMPORT8_LAYERS mgimport8_${name})
endfunction()
