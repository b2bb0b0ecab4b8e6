# rampart_room(<room> SOURCES ... [USES room...] [LIBRARIES target...])
# One static library a room. Rooms of floors 3 to 5 may use each other, which static libraries allow.
function(rampart_room room)
  cmake_parse_arguments(ARG "" "" "SOURCES;USES;LIBRARIES" ${ARGN})
  set(target rampart_${room})
  add_library(${target} STATIC ${ARG_SOURCES})
  target_include_directories(${target} PUBLIC ${CMAKE_SOURCE_DIR}/src)
  target_precompile_headers(${target} PRIVATE
    <algorithm> <array> <atomic> <chrono> <condition_variable> <cstdint> <cstring> <functional> <map> <memory>
    <mutex> <optional> <string> <string_view> <thread> <unordered_map> <utility> <vector>)
  foreach(used IN LISTS ARG_USES)
    target_link_libraries(${target} PUBLIC rampart_${used})
  endforeach()
  target_link_libraries(${target} PUBLIC ${ARG_LIBRARIES})
  set_property(GLOBAL APPEND PROPERTY RAMPART_ROOMS ${target})
  set_property(GLOBAL APPEND PROPERTY RAMPART_ROOM_LIBRARIES ${ARG_LIBRARIES})
endfunction()

# What a test of the engine links: rooms of floors 3 to 5 know each other in both directions.
set(RAMPART_WHOLE_ENGINE
  "$<LINK_GROUP:RESCAN,rampart_engine,rampart_manager,rampart_link,rampart_run,rampart_restore,rampart_task,rampart_paths,rampart_progress,rampart_eventlog,rampart_transferlib,rampart_filterlib,rampart_progresslib,rampart_snapcopylib>"
  rampart_storage rampart_baselib rampart_framework rampart_platform)

# Test programs name the machine's folders as they see them: under Wine its root is a drive.
if(WIN32)
  set(RAMPART_TEST_LOGS Z:${CMAKE_BINARY_DIR}/test-logs)
else()
  set(RAMPART_TEST_LOGS ${CMAKE_BINARY_DIR}/test-logs)
endif()

# rampart_tests(<room> SOURCES a_test.cpp ... [SUPPORT helper.cpp ...] [LIBRARIES target...])
# One test program a room. A *_test.cpp in the folder that is not listed stops the configuration.
function(rampart_tests room)
  cmake_parse_arguments(ARG "" "" "SOURCES;SUPPORT;LIBRARIES" ${ARGN})
  file(GLOB found RELATIVE ${CMAKE_CURRENT_SOURCE_DIR} CONFIGURE_DEPENDS *_test.cpp)
  foreach(file IN LISTS found)
    if(NOT file IN_LIST ARG_SOURCES)
      message(FATAL_ERROR "tests/${room}/${file} is in no test program: list it in SOURCES of rampart_tests")
    endif()
  endforeach()
  set(target ${room}_test)
  add_executable(${target} ${ARG_SOURCES} ${ARG_SUPPORT})
  target_include_directories(${target} PRIVATE ${CMAKE_SOURCE_DIR}/tests)
  target_link_libraries(${target} PRIVATE rampart_${room} ${ARG_LIBRARIES} GTest::gmock GTest::gtest_main)
  target_precompile_headers(${target} PRIVATE <gtest/gtest.h> <gmock/gmock.h>)
  gtest_discover_tests(${target} DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 120
    PROPERTIES TIMEOUT 300 ENVIRONMENT "RAMPART_LOG=${RAMPART_TEST_LOGS}")
endfunction()
