# zephra_module(engine DEPENDS voice effects): the sources of this folder as target zephra_engine.
# "engine/SynthEngine.h" exists only for who names engine: each module has an include root of its
# own, with one link in it.
function(zephra_module name)
  cmake_parse_arguments(arg "STRICT" "" "DEPENDS" ${ARGN})
  file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp)
  set(root ${CMAKE_BINARY_DIR}/include/${name})
  file(MAKE_DIRECTORY ${root})
  file(CREATE_LINK ${CMAKE_CURRENT_SOURCE_DIR} ${root}/${name} SYMBOLIC)
  list(TRANSFORM arg_DEPENDS PREPEND zephra_)
  if(sources)
    add_library(zephra_${name} STATIC ${sources})
    set(scope PUBLIC)
  else()
    add_library(zephra_${name} INTERFACE)
    set(scope INTERFACE)
  endif()
  target_include_directories(zephra_${name} ${scope} ${root})
  target_link_libraries(zephra_${name} ${scope} ${arg_DEPENDS})
  if(arg_STRICT AND sources)
    target_compile_options(zephra_${name} PRIVATE -Wconversion)
  endif()
endfunction()

# What kernels are compiled for (common/Isa.h), with the compiler's options.
set(ZEPHRA_INSTRUCTION_SETS baseline)
set(ZEPHRA_FLAGS_baseline)
if(CMAKE_SYSTEM_PROCESSOR STREQUAL "x86_64")
  list(APPEND ZEPHRA_INSTRUCTION_SETS avx2 avx512)
  set(ZEPHRA_FLAGS_avx2 -mavx2)
  set(ZEPHRA_FLAGS_avx512 -mavx512f -mavx512vl -mavx512dq -mprefer-vector-width=256)
endif()
# Kernels wait for long chains of operations: they gain much from an order of instructions that is
# found before registers are handed out, in which independent work stands beside the chain.
set(ZEPHRA_SCHEDULING "$<$<CXX_COMPILER_ID:GNU>:-fschedule-insns;-fsched-pressure>")

# zephra_kernels(voice): the sources of its folder "kernels", once for each instruction set. Never
# without optimisation: what the compiler does not inline of the standard library would be shared
# with sources that run on every machine.
function(zephra_kernels name)
  file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/kernels/*.cpp)
  get_target_property(dependencies zephra_${name} LINK_LIBRARIES)
  foreach(set IN LISTS ZEPHRA_INSTRUCTION_SETS)
    set(kernels zephra_${name}_${set})
    add_library(${kernels} OBJECT ${sources})
    target_include_directories(${kernels} PRIVATE ${CMAKE_BINARY_DIR}/include/${name})
    target_link_libraries(${kernels} PRIVATE ${dependencies})
    target_compile_definitions(${kernels} PRIVATE ZEPHRA_ISA=${set})
    target_compile_options(${kernels} PRIVATE -Wconversion -O3 "${ZEPHRA_SCHEDULING}"
                           ${ZEPHRA_FLAGS_${set}})
    target_sources(zephra_${name} PRIVATE $<TARGET_OBJECTS:${kernels}>)
  endforeach()
endfunction()
