# SPDX-License-Identifier: LGPL-2.1-or-later
#
# Links a firmware image into a target: the file named by TAVO_FIRMWARE, or an empty image.

set(TAVO_FIRMWARE_TOOL "" CACHE FILEPATH
    "tavo-firmware program for the build machine, needed when cross-compiling")

set(TAVO_FIRMWARE_SOURCE_DIR ${CMAKE_CURRENT_LIST_DIR}/../firmware)

# The program that converts the image has to run here, whatever machine the library is for.
function(tavo_firmware_command result)
    if(TAVO_FIRMWARE_TOOL)
        get_filename_component(tool "${TAVO_FIRMWARE_TOOL}" ABSOLUTE BASE_DIR "${CMAKE_SOURCE_DIR}")
        if(NOT EXISTS "${tool}")
            message(FATAL_ERROR "TAVO_FIRMWARE_TOOL: there is no file ${tool}")
        endif()
        set(${result} "${tool}" PARENT_SCOPE)
        return()
    endif()
    if(CMAKE_CROSSCOMPILING AND NOT CMAKE_CROSSCOMPILING_EMULATOR)
        message(FATAL_ERROR
            "Cross-compiling needs a tavo-firmware program for this machine. Configure a native "
            "build, build its target tavo-firmware and name the program with "
            "-DTAVO_FIRMWARE_TOOL=/path/to/tavo-firmware")
    endif()
    if(NOT TARGET tavo-firmware)
        add_subdirectory(${TAVO_FIRMWARE_SOURCE_DIR} ${CMAKE_BINARY_DIR}/firmware)
    endif()
    set(${result} tavo-firmware PARENT_SCOPE)
endfunction()

# Adds a source file with the image to the target. A malformed image fails the build with its line
# (or byte) and the reason.
function(tavo_add_firmware target)
    tavo_firmware_command(tool)
    set(source ${CMAKE_CURRENT_BINARY_DIR}/${target}_firmware.cpp)

    if(TAVO_FIRMWARE)
        get_filename_component(image "${TAVO_FIRMWARE}" ABSOLUTE
            BASE_DIR "${CMAKE_CURRENT_SOURCE_DIR}")
        if(NOT EXISTS "${image}")
            get_filename_component(image "${TAVO_FIRMWARE}" ABSOLUTE BASE_DIR "${CMAKE_SOURCE_DIR}")
        endif()
        if(NOT EXISTS "${image}" OR IS_DIRECTORY "${image}")
            message(FATAL_ERROR "TAVO_FIRMWARE: there is no file ${image}")
        endif()
        set(input "${image}")
        set(dependency "${image}")
    else()
        set(input --empty)
        set(dependency)
    endif()

    add_custom_command(
        OUTPUT "${source}"
        COMMAND ${tool} ${input} -o "${source}"
        DEPENDS ${tool} ${dependency}
        COMMENT "Converting the firmware image"
        VERBATIM)
    target_sources(${target} PRIVATE "${source}")
endfunction()
