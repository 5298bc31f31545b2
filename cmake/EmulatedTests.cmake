# SPDX-License-Identifier: LGPL-2.1-or-later
#
# Tests of GoogleTest, registered one by one; for another processor in a few groups, since starting
# an emulator takes longer than most of the tests.

set(TAVO_EMULATED_GROUPS 4 CACHE STRING "Emulators that share the tests of a program")

# Debian has GoogleTest for this computer only, but with its sources.
if(CMAKE_CROSSCOMPILING)
    include(FetchContent)
    set(FETCHCONTENT_SOURCE_DIR_GTEST /usr/src/googletest CACHE PATH "Sources of GoogleTest")
    set(BUILD_GMOCK OFF)
    set(INSTALL_GTEST OFF)
    FetchContent_Declare(GTest OVERRIDE_FIND_PACKAGE)
    add_custom_target(tavo_emulated_tests)
endif()

# tavo_discover_tests(TARGET PREFIX)
function(tavo_discover_tests target prefix)
    if(NOT CMAKE_CROSSCOMPILING)
        gtest_discover_tests(${target} TEST_PREFIX ${prefix} DISCOVERY_TIMEOUT 60)
        return()
    endif()
    add_dependencies(tavo_emulated_tests ${target})
    math(EXPR last "${TAVO_EMULATED_GROUPS} - 1")
    # ContextDeathTest starts its own program anew, which the kernel does not know how to run.
    set(filter "GTEST_FILTER=-ContextDeathTest.*")
    foreach(group RANGE ${last})
        add_test(NAME ${prefix}group${group} COMMAND ${target} --gtest_brief=1)
        set_tests_properties(${prefix}group${group} PROPERTIES
            LABELS emulated
            ENVIRONMENT "GTEST_TOTAL_SHARDS=${TAVO_EMULATED_GROUPS};GTEST_SHARD_INDEX=${group};${filter}")
    endforeach()
endfunction()
