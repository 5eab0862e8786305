# How a folder of the project becomes libraries and test programs.
#
# A room's portable sources become the library NAME, its *_win.cc sources the library NAME_win.
# On Windows each is built a second time, as NAME_checked, with undefined-behaviour traps and the
# standard library's assertions; test programs link that form, the host links the plain one.

function(talu_add_form form)
  cmake_parse_arguments(arg "" "" "SOURCES;NEEDS" ${ARGN})
  add_library(${form} STATIC ${arg_SOURCES})
  target_link_libraries(${form} PUBLIC ${arg_NEEDS})
endfunction()

# talu_room(NAME [PLAIN] PORTABLE a.cc... WINDOWS b_win.cc... NEEDS room...)
# PLAIN: no checked form; what takes the compiler long and is checked natively.
function(talu_room name)
  cmake_parse_arguments(arg "PLAIN" "" "PORTABLE;WINDOWS;NEEDS" ${ARGN})
  set(forms "")
  if(WIN32 AND NOT arg_PLAIN)
    set(forms _checked)
  endif()
  foreach(form IN ITEMS "" LISTS forms)
    set(needs "")
    foreach(need IN LISTS arg_NEEDS)
      list(APPEND needs ${need}${form})
    endforeach()
    if(form)
      list(APPEND needs talu_checked)
    else()
      list(APPEND needs talu_shipped)
    endif()
    if(arg_PORTABLE)
      talu_add_form(${name}${form} SOURCES ${arg_PORTABLE} NEEDS talu_options ${needs})
    else()
      add_library(${name}${form} INTERFACE)
      target_link_libraries(${name}${form} INTERFACE talu_options ${needs})
    endif()
    if(WIN32 AND arg_WINDOWS)
      set(winNeeds "")
      foreach(need IN LISTS arg_NEEDS)
        if(TARGET ${need}_win${form})
          list(APPEND winNeeds ${need}_win${form})
        endif()
      endforeach()
      talu_add_form(${name}_win${form} SOURCES ${arg_WINDOWS} NEEDS ${name}${form} ${winNeeds})
      # The portable half calls the Windows half through its seams. A stand-in that a test links as
      # objects comes first.
      target_link_libraries(${name}${form} INTERFACE ${name}_win${form})
    endif()
  endforeach()
endfunction()

# Flags for tests and their stand-ins. The optimiser would take longer over a test than the test
# takes to run.
add_library(talu_test_code INTERFACE)
target_compile_options(talu_test_code INTERFACE -O0)
if(WIN32)
  target_link_libraries(talu_test_code INTERFACE talu_checked)
  # Some tests link rooms that are handed out; headers that are compiled once need the same flags.
  target_compile_options(talu_test_code INTERFACE -g0)
endif()

# What every test includes, read once for all of them.
file(CONFIGURE OUTPUT ${CMAKE_BINARY_DIR}/test_headers.cc CONTENT "")
add_library(test_headers OBJECT EXCLUDE_FROM_ALL ${CMAKE_BINARY_DIR}/test_headers.cc)
target_link_libraries(test_headers PRIVATE talu_test_code talu_options gmock)
target_precompile_headers(test_headers PRIVATE <gmock/gmock.h> <gtest/gtest.h>)

# talu_test(NAME [WINDOWS|NATIVE] SOURCES x_test.cc... NEEDS library...)
# One GoogleTest program. Runs natively and under Wine, or in one of them only.
function(talu_test name)
  cmake_parse_arguments(arg "WINDOWS;NATIVE" "" "SOURCES;NEEDS" ${ARGN})
  if((arg_WINDOWS AND NOT WIN32) OR (arg_NATIVE AND WIN32))
    return()
  endif()
  add_executable(${name} ${arg_SOURCES})
  set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${TALU_TEST_DIR})
  set(needs "")
  foreach(need IN LISTS arg_NEEDS)
    if(WIN32 AND TARGET ${need}_checked)
      list(APPEND needs ${need}_checked)
    else()
      list(APPEND needs ${need})
    endif()
  endforeach()
  target_link_libraries(${name} PRIVATE ${needs} talu_test_code talu_options gmock gtest_main)
  target_precompile_headers(${name} REUSE_FROM test_headers)
  add_test(NAME ${name} COMMAND ${name})
  set_tests_properties(${name} PROPERTIES TIMEOUT 600)
endfunction()
