# Compiler settings and the two functions with which every target is made.

find_program(CCACHE ccache)
if(CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_CXX_COMPILER_LAUNCHER ${CCACHE})
endif()

add_library(quillshade_options INTERFACE)
target_compile_options(quillshade_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Wold-style-cast -Woverloaded-virtual
  -Wimplicit-fallthrough
  # With full optimisation GCC 12 sees null pointers in the standard library's own stream iterators.
  $<$<CONFIG:Debug>:-Wnull-dereference>
  # With -O3 GCC 12 believes that a text might be copied onto itself wherever one begins with a literal.
  $<$<AND:$<CXX_COMPILER_ID:GNU>,$<VERSION_LESS:$<CXX_COMPILER_VERSION>,13>>:-Wno-restrict>
  # Records are filled by naming the fields that matter; the others have their defaults.
  -Wno-missing-field-initializers)
target_include_directories(quillshade_options INTERFACE ${PROJECT_SOURCE_DIR} ${PROJECT_BINARY_DIR}/generated)
target_compile_definitions(quillshade_options INTERFACE QT_NO_KEYWORDS QT_NO_CAST_FROM_ASCII)

if(QUILLSHADE_SANITIZER STREQUAL "address")
  target_compile_options(quillshade_options INTERFACE
    -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer -Wno-null-dereference)
  target_link_options(quillshade_options INTERFACE -fsanitize=address,undefined)
elseif(QUILLSHADE_SANITIZER STREQUAL "thread")
  target_compile_options(quillshade_options INTERFACE -fsanitize=thread -Wno-tsan -Wno-null-dereference)
  target_link_options(quillshade_options INTERFACE -fsanitize=thread)
endif()

configure_file(${PROJECT_SOURCE_DIR}/cmake/Version.h.in ${PROJECT_BINARY_DIR}/generated/Version.h @ONLY)

# quillshade_library(NAME FOLDER LINK …): every source of one folder as a static library.
# A file named main.cpp belongs to an executable and stays out.
function(quillshade_library name folder)
  cmake_parse_arguments(ARG "" "" "LINK" ${ARGN})
  file(GLOB sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/${folder}/*.cpp)
  list(FILTER sources EXCLUDE REGEX "/main\\.cpp$")
  if(sources)
    add_library(${name} STATIC ${sources})
    target_link_libraries(${name} PUBLIC quillshade_options ${ARG_LINK})
    file(GLOB headers CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/${folder}/*.h)
    foreach(header ${headers})
      file(STRINGS ${header} qobject REGEX "Q_OBJECT|Q_GADGET" LIMIT_COUNT 1)
      if(qobject)
        target_sources(${name} PRIVATE ${header})
        set_target_properties(${name} PROPERTIES AUTOMOC ON)
      endif()
    endforeach()
  else()
    add_library(${name} INTERFACE)
    target_link_libraries(${name} INTERFACE quillshade_options ${ARG_LINK})
  endif()
endfunction()

# quillshade_executable(NAME FOLDER LINK …): FOLDER/main.cpp over libraries.
function(quillshade_executable name folder)
  cmake_parse_arguments(ARG "" "" "LINK" ${ARGN})
  if(EXISTS ${PROJECT_SOURCE_DIR}/${folder}/main.cpp)
    add_executable(${name} ${folder}/main.cpp)
    target_link_libraries(${name} PRIVATE quillshade_options ${ARG_LINK})
    install(TARGETS ${name} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
  endif()
endfunction()

# quillshade_test(NAME FOLDER LINK …): every source of one folder as one GoogleTest program.
# With DESKTOP it runs inside a private virtual desktop.
function(quillshade_test name folder)
  cmake_parse_arguments(ARG "DESKTOP" "" "LINK" ${ARGN})
  file(GLOB sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/${folder}/*.cpp)
  if(NOT sources)
    return()
  endif()
  add_executable(${name} ${sources})
  target_link_libraries(${name} PRIVATE quillshade_options ${ARG_LINK} GTest::gtest_main)
  if(ARG_DESKTOP)
    # One desktop for the whole program: starting one for each case would take longer than the cases.
    add_test(NAME ${name} COMMAND ${PROJECT_SOURCE_DIR}/scripts/desktop $<TARGET_FILE:${name}>)
    set_tests_properties(${name} PROPERTIES LABELS desktop TIMEOUT 600)
  else()
    add_test(NAME ${name} COMMAND ${name})
    set_tests_properties(${name} PROPERTIES TIMEOUT 300)
  endif()
endfunction()
