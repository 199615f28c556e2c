# talv_room(NAME dependency...): the static library talv_NAME made of every source of the current folder.
# Sources are found by pattern, so a new file needs no list to be edited.
function(talv_room name)
  file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp)
  add_library(talv_${name} STATIC ${sources} ${TALV_EXTRA_SOURCES})
  talv_flags(talv_${name})
  talv_simd_flags(${sources} ${TALV_EXTRA_SOURCES})
  target_link_libraries(talv_${name} PUBLIC ${ARGN})
endfunction()

# Warnings as errors and the flags every target of the project is compiled with.
function(talv_flags target)
  target_include_directories(${target} PUBLIC ${PROJECT_SOURCE_DIR})
  target_compile_options(${target} PRIVATE
    $<$<COMPILE_LANGUAGE:CXX>:-Wall -Wextra -Wshadow -Wnon-virtual-dtor -Werror>)
  if(WIN32)
    target_compile_definitions(${target} PRIVATE NOMINMAX NO_DSHOW_STRSAFE WIN32_LEAN_AND_MEAN _WIN32_WINNT=0x0601)
    # No file that is handed out tells where it was built.
    target_compile_options(${target} PRIVATE $<$<COMPILE_LANGUAGE:CXX>:-ffile-prefix-map=${PROJECT_SOURCE_DIR}/=>)
  endif()
endfunction()

# Only the files that end in _sse2, _ssse3, _sse41, _avx2 or _avx512 are compiled for that level.
function(talv_simd_flags)
  foreach(source ${ARGN})
    if(source MATCHES "_avx512\\.cpp$")
      set_source_files_properties(${source} PROPERTIES COMPILE_OPTIONS
        "-mavx512f;-mavx512bw;-mavx512vl;-mavx512vbmi;-mavx2;-mbmi;-mbmi2;-mlzcnt")
    elseif(source MATCHES "_avx2\\.cpp$")
      set_source_files_properties(${source} PROPERTIES COMPILE_OPTIONS "-mavx2;-mbmi;-mbmi2;-mlzcnt")
    elseif(source MATCHES "_sse2\\.cpp$")
      set_source_files_properties(${source} PROPERTIES COMPILE_OPTIONS "-msse2")
    endif()
  endforeach()
endfunction()

# talv_codec_exports(FILE RESULT): the export list of the decoder functions, without those of a codec that is not built.
function(talv_codec_exports file result)
  file(READ ${file} exports)
  file(GLOB j2k ${PROJECT_SOURCE_DIR}/codecs/j2k/*.cpp)
  if(NOT j2k)
    string(REGEX REPLACE "[^\n]*fltJ2KDecompressFrame[^\n]*\n?" "" exports "${exports}")
  endif()
  set(${result} "${exports}" PARENT_SCOPE)
endfunction()

# talv_codec_host(TARGET): a program that finds the codec entry points in itself, by name, as a host of the component
# does. Nothing refers to them otherwise, so the linker is asked to take them from the static library.
function(talv_codec_host target)
  if(NOT EXISTS ${PROJECT_SOURCE_DIR}/codecs/exports.cpp)
    return()
  endif()
  if(WIN32)
    talv_codec_exports(${PROJECT_SOURCE_DIR}/filter/directshow/codec_exports.${CMAKE_SYSTEM_PROCESSOR}.def exports)
    file(GENERATE OUTPUT ${CMAKE_CURRENT_BINARY_DIR}/${target}.def CONTENT "EXPORTS\n${exports}")
    set_source_files_properties(${CMAKE_CURRENT_BINARY_DIR}/${target}.def PROPERTIES GENERATED TRUE)
    target_sources(${target} PRIVATE ${CMAKE_CURRENT_BINARY_DIR}/${target}.def)
  else()
    target_link_options(${target} PRIVATE
      -Wl,-u,fltLoadBufferCMP -Wl,-u,fltSaveBufferCMP -Wl,-u,fltJ2KDecompressFrame)
  endif()
  set_target_properties(${target} PROPERTIES ENABLE_EXPORTS ON)  # without it a program's export list is ignored
  target_link_libraries(${target} PRIVATE talv_codecs)
endfunction()

# talv_test(NAME library...): tests/NAME/*_test.cpp as one program. Natively every case is a test of its own;
# under Wine, where a process start costs more than most cases, the whole program is one. Sources in tests/NAME/windows
# belong to the Windows builds only.
function(talv_test name)
  file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/${name}/*.cpp)
  if(WIN32)
    file(GLOB windows_sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/${name}/windows/*.cpp)
    list(APPEND sources ${windows_sources})
  endif()
  if(NOT sources)
    return()
  endif()
  add_executable(${name}_test ${sources})
  talv_flags(${name}_test)
  target_link_libraries(${name}_test PRIVATE ${ARGN} talv_test_support)
  target_compile_definitions(${name}_test PRIVATE
    TALV_TEST_DATA="${PROJECT_SOURCE_DIR}/tests/data" TALV_SOURCE_DIR="${PROJECT_SOURCE_DIR}")
  if(WIN32)
    add_test(NAME ${name} COMMAND ${name}_test)
    set_tests_properties(${name} PROPERTIES TIMEOUT 600)
    if(name STREQUAL "directshow")
      set_tests_properties(${name} PROPERTIES RUN_SERIAL ON)  # it registers the component and opens windows
    endif()
  else()
    gtest_discover_tests(${name}_test TEST_PREFIX ${name}. DISCOVERY_MODE PRE_TEST PROPERTIES TIMEOUT 300)
  endif()
endfunction()
