# How every target of the project is compiled and linked.

find_package(PkgConfig REQUIRED)
find_package(nlohmann_json 3.11 REQUIRED)

if(APPLE)
  enable_language(OBJCXX)
  set(CORVANA_SYSTEM macos)
else()
  set(CORVANA_SYSTEM linux)
  # A program loads only what it calls: the proxy app must not pull in what lower layers link for the others.
  add_link_options(-Wl,--as-needed)
endif()

add_library(corvana_compile_options INTERFACE)
target_include_directories(corvana_compile_options INTERFACE "${PROJECT_SOURCE_DIR}")
target_compile_options(corvana_compile_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wnon-virtual-dtor -Wold-style-cast -Woverloaded-virtual
  -Wno-missing-field-initializers)  # fields that a designated initialiser leaves out have their defaults
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # When it optimises, g++ 12 takes the inactive members of a std::variant for uninitialised ones, and sees overlapping
  # copies in the concatenation of short strings.
  target_compile_options(corvana_compile_options INTERFACE -Wno-maybe-uninitialized -Wno-restrict)
endif()
if(CORVANA_WERROR)
  target_compile_options(corvana_compile_options INTERFACE -Werror)
endif()
if(CORVANA_FUZZ)
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()
if(CORVANA_SANITIZE)
  # The same flags for every target, the programs that tests start among them.
  add_compile_options(-fsanitize=${CORVANA_SANITIZE} -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${CORVANA_SANITIZE})
  if(NOT CORVANA_SANITIZE MATCHES "thread")
    add_compile_options(-fno-sanitize-recover=all
      "-fsanitize-ignorelist=${PROJECT_SOURCE_DIR}/cmake/sanitizer-ignorelist.txt")
  endif()
endif()

# corvana_library(NAME SOURCES... LINKS...): one layer, or one separately loadable piece of a layer.
function(corvana_library name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;LINKS;PRIVATE_LINKS")
  add_library(${name} STATIC ${arg_SOURCES})
  target_link_libraries(${name} PUBLIC corvana_compile_options ${arg_LINKS} PRIVATE ${arg_PRIVATE_LINKS})
endfunction()

# corvana_bundle_program(TARGET BUNDLE IDENTIFIER NAME): the program lies in the application bundle of that path below the
# build folder, as it does when it is installed, so that programs find each other the same way in both places.
function(corvana_bundle_program target bundle identifier name)
  set(contents "${PROJECT_BINARY_DIR}/${bundle}/Contents")
  get_target_property(CORVANA_EXECUTABLE ${target} OUTPUT_NAME)
  if(NOT CORVANA_EXECUTABLE)
    set(CORVANA_EXECUTABLE ${target})
  endif()
  set(CORVANA_IDENTIFIER "${identifier}")
  set(CORVANA_NAME "${name}")
  set_target_properties(${target} PROPERTIES RUNTIME_OUTPUT_DIRECTORY "${contents}/MacOS")
  configure_file("${PROJECT_SOURCE_DIR}/cmake/Info.plist.in" "${contents}/Info.plist" @ONLY)
endfunction()
