# What every target of the project is compiled with.
add_library(vor_flags INTERFACE)
target_compile_options(vor_flags INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wcast-qual -Wformat=2
  -Wundef -Wvla
  $<$<COMPILE_LANGUAGE:CXX>:-Wold-style-cast -Wnon-virtual-dtor -Woverloaded-virtual>
  $<$<BOOL:${VOR_WERROR}>:-Werror>)
# Some machines multiply and add in one step, with one rounding instead of two: without it curves,
# units and previews come out with the same numbers on every machine.
target_compile_options(vor_flags INTERFACE -ffp-contract=off)
# 64-bit file offsets on machines where they are not the rule.
target_compile_definitions(vor_flags INTERFACE _FILE_OFFSET_BITS=64 _TIME_BITS=64)
if(VOR_SANITIZE)
  target_compile_options(vor_flags INTERFACE
    -fsanitize=${VOR_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(vor_flags INTERFACE -fsanitize=${VOR_SANITIZE})
  # clang's check of calls through pointers needs the C++ run-time in programs that are C.
  target_compile_options(vor_flags INTERFACE $<$<CXX_COMPILER_ID:Clang>:-fno-sanitize=function>)
endif()

# vor_layer(NAME sources...): the objects of one folder below src/. They are compiled once; the
# shared library and the unit tests link the same objects.
function(vor_layer name)
  add_library(vor_${name} OBJECT ${ARGN})
  target_compile_options(vor_${name} PRIVATE
    $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions -fno-rtti>
    -fvisibility=hidden $<$<COMPILE_LANGUAGE:CXX>:-fvisibility-inlines-hidden>)
  target_include_directories(vor_${name} PUBLIC ${PROJECT_SOURCE_DIR}/src)
  target_link_libraries(vor_${name} PRIVATE vor_flags)
  set_property(GLOBAL APPEND PROPERTY VOR_LAYERS vor_${name})
endfunction()
