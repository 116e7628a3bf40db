# libkelp.so and libkelp.a from one set of objects.
#
# The codec uses no C++ runtime: the shared library is linked against libc alone, so that a stray
# `new`, exception or guarded static is a link error and not a dependency.

add_library(kelp_flags INTERFACE)
if(PROJECT_IS_TOP_LEVEL)
  target_compile_options(kelp_flags INTERFACE
    -Wall -Wextra -Wconversion -Wshadow $<$<BOOL:${KELP_WERROR}>:-Werror>)
endif()
if(KELP_SANITIZE)
  target_compile_options(kelp_flags INTERFACE
    -fsanitize=${KELP_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(kelp_flags INTERFACE -fsanitize=${KELP_SANITIZE})
endif()

if(KELP_COVERAGE)
  if(NOT CMAKE_CXX_COMPILER_ID MATCHES Clang)
    message(FATAL_ERROR "KELP_COVERAGE needs clang")
  endif()
  # Tests run threads: counters that are not atomic lose counts and come out below zero.
  target_compile_options(kelp_flags INTERFACE
    -fprofile-instr-generate -fcoverage-mapping -fprofile-update=atomic)
  target_link_options(kelp_flags INTERFACE -fprofile-instr-generate)
endif()

# What the shared libraries are built with. Hosts feed them bytes from the air: a fault that tests
# missed should end the process, not give it away. Sanitizers bring checks of their own, and fortified
# calls need an optimized build. Toolchains add libraries of their own to every link: those that
# nothing is taken from are left out again.
add_library(kelp_shared_flags INTERFACE)
target_link_libraries(kelp_shared_flags INTERFACE kelp_flags)
target_link_options(kelp_shared_flags INTERFACE
  -Wl,-z,max-page-size=16384 -Wl,-z,relro -Wl,-z,now -Wl,-z,noexecstack -Wl,--as-needed)
if(NOT KELP_SANITIZE)
  target_compile_options(kelp_shared_flags INTERFACE -fstack-protector-strong -U_FORTIFY_SOURCE)
  if(NOT KELP_COVERAGE)
    target_link_options(kelp_shared_flags INTERFACE -nodefaultlibs -Wl,-z,defs)
    target_link_libraries(kelp_shared_flags INTERFACE c)
  endif()
endif()
if(ANDROID)
  # Six names of libc are all that the codec asks of its host there. Fortified calls would be more,
  # and so would the startup object, which has nothing to do: no code runs at load or unload.
  target_link_options(kelp_shared_flags INTERFACE -nostartfiles)
elseif(NOT KELP_SANITIZE)
  target_compile_options(kelp_shared_flags INTERFACE
    $<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:-D_FORTIFY_SOURCE=2>)
endif()

set(KELP_SOURCES
  common/aligned_memory.cpp
  common/bit_reader.cpp
  common/bit_reader_le.cpp
  common/bit_writer.cpp
  common/cpu.cpp
  common/filter_kernels.cpp
  common/fixed_point.cpp
  common/library.cpp
  common/lsp.cpp
  common/synthesis.cpp
  dec/codebook_gain.cpp
  dec/concealment.cpp
  dec/decoder.cpp
  dec/interface.cpp
  dec/lsp_dequant.cpp
  dec/pitch_dequant.cpp
  dec/synthesis.cpp
  enc/analysis.cpp
  enc/encoder.cpp
  enc/excitation_search.cpp
  enc/gain_quant.cpp
  enc/interface.cpp
  enc/local_decoder.cpp
  enc/lpc_convert.cpp
  enc/lsp_quant.cpp
  enc/lsp_roots.cpp
  enc/noise_frame.cpp
  enc/pitch_search.cpp
  enc/preprocess.cpp
  enc/rate_decision.cpp
  enc/rate_levels.cpp
  enc/kernels.cpp
  enc/kernels_plain.cpp
  enc/weighting.cpp
  format/pack.cpp
  format/payload_layout.cpp
  format/unpack.cpp
  tables/analysis_tables.cpp
  tables/excitation_codebooks.cpp
  tables/gain_tables.cpp
  tables/interpolation_tables.cpp
  tables/lsp_codebooks.cpp
  tables/lsp_tables.cpp
  tables/trigonometric_tables.cpp)

# For comparing builds.
set(KELP_OPTIMIZE -O2 CACHE STRING "How far the library is optimised in a Release build")
set(KELP_VECTORIZE -ftree-vectorize CACHE STRING "Of its kernels")
mark_as_advanced(KELP_OPTIMIZE KELP_VECTORIZE)

# Kernels are vectorized whatever the build type. Those of an instruction set alone are compiled for
# it, and run only where it is found. Nobody looks at the floating-point exceptions of their
# estimates.
set(kernel_flags -fno-trapping-math ${KELP_VECTORIZE})
if(CMAKE_CXX_COMPILER_ID STREQUAL GNU)
  list(APPEND kernel_flags -fvect-cost-model=dynamic)
endif()
set_source_files_properties(common/filter_kernels.cpp enc/kernels_plain.cpp PROPERTIES
  COMPILE_OPTIONS "${kernel_flags}")
if(KELP_PLAIN_KERNELS)
  message(STATUS "Plain kernels only: this library is for comparison")
elseif(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64)$")
  set(avx2 common/filter_kernels_avx2.cpp enc/kernels_avx2.cpp)
  list(APPEND KELP_SOURCES ${avx2})
  set_source_files_properties(${avx2} PROPERTIES COMPILE_OPTIONS "-mavx2;-mfma;${kernel_flags}")
  if(KELP_AVX512)
    set(avx512 enc/kernels_avx512.cpp)
    list(APPEND KELP_SOURCES ${avx512})
    set(avx512_flags -mavx512f -mavx512bw -mavx512dq -mavx512vl -mprefer-vector-width=512)
    if(CMAKE_CXX_COMPILER_ID STREQUAL GNU)  # its own header's "undefined" vectors
      list(APPEND avx512_flags -Wno-uninitialized -Wno-maybe-uninitialized)
    endif()
    set_source_files_properties(${avx512} PROPERTIES
      COMPILE_OPTIONS "${avx512_flags};${kernel_flags}")
    set_source_files_properties(enc/kernels.cpp PROPERTIES COMPILE_DEFINITIONS KELP_AVX512)
  endif()
elseif(CMAKE_SYSTEM_PROCESSOR MATCHES "^(aarch64|arm64)$")
  set(neon common/filter_kernels_neon.cpp enc/kernels_neon.cpp)
  list(APPEND KELP_SOURCES ${neon})
  set_source_files_properties(${neon} PROPERTIES COMPILE_OPTIONS "${kernel_flags}")
endif()

# Where no frame spends its time is built small.
set(KELP_SMALL_SOURCES common/aligned_memory.cpp common/bit_reader.cpp common/bit_reader_le.cpp
  common/bit_writer.cpp common/fixed_point.cpp common/library.cpp dec/interface.cpp
  enc/interface.cpp)
set_property(SOURCE ${KELP_SMALL_SOURCES} APPEND PROPERTY
  COMPILE_OPTIONS $<$<CONFIG:Release>:-Os>)

add_library(kelp_objects OBJECT ${KELP_SOURCES})
target_compile_definitions(kelp_objects PUBLIC $<$<BOOL:${KELP_PLAIN_KERNELS}>:KELP_PLAIN_KERNELS>)
target_include_directories(kelp_objects PUBLIC
  ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/include)
set_target_properties(kelp_objects PROPERTIES
  POSITION_INDEPENDENT_CODE ON
  CXX_VISIBILITY_PRESET hidden
  VISIBILITY_INLINES_HIDDEN ON)
target_compile_options(kelp_objects PRIVATE
  -fno-exceptions -fno-rtti -fno-threadsafe-statics -fno-asynchronous-unwind-tables)
target_compile_options(kelp_objects PRIVATE "$<$<CONFIG:Release>:${KELP_OPTIMIZE}>")
if(CMAKE_CXX_COMPILER_ID STREQUAL GNU)  # saves 3 KB, of which 1 KB between functions
  target_compile_options(kelp_objects PRIVATE
    -fno-align-functions -fno-align-loops -fno-align-jumps -fno-align-labels)
endif()
target_link_libraries(kelp_objects PRIVATE kelp_shared_flags)
# The sine and cosine tables are computed at compile time, which takes clang more steps than it
# allows by default.
if(CMAKE_CXX_COMPILER_ID MATCHES Clang)
  set_source_files_properties(tables/trigonometric_tables.cpp PROPERTIES
    COMPILE_OPTIONS -fconstexpr-steps=20000000)
endif()

# The NDK takes the headers of the C++ library away along with the library; only the latter is not
# needed here.
if(ANDROID AND ANDROID_STL STREQUAL none)
  target_include_directories(kelp_objects SYSTEM PRIVATE ${CMAKE_SYSROOT}/usr/include/c++/v1)
endif()

# gcc infers that nothing throws here and then misses that on the second names.
if(CMAKE_CXX_COMPILER_ID STREQUAL GNU)
  set_property(SOURCE common/aligned_memory.cpp common/library.cpp APPEND PROPERTY
    COMPILE_OPTIONS -Wno-missing-attributes)
endif()

add_library(kelp SHARED $<TARGET_OBJECTS:kelp_objects>)
add_library(kelp::kelp ALIAS kelp)
target_include_directories(kelp PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>)

# CMake links whatever it knows to hold C++ with the C++ compiler and its runtime. What others link is
# therefore the archive as a file, which a program in C links with nothing but libc.
add_library(kelp_archive STATIC $<TARGET_OBJECTS:kelp_objects>)
set_target_properties(kelp_archive PROPERTIES OUTPUT_NAME kelp)
add_library(kelp_static INTERFACE)
add_library(kelp::static ALIAS kelp_static)
add_dependencies(kelp_static kelp_archive)
target_include_directories(kelp_static INTERFACE
  $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>)
target_link_libraries(kelp_static INTERFACE $<BUILD_INTERFACE:$<TARGET_FILE:kelp_archive>>)

# cmake/exported_symbols.txt is all that the library exports; the linker reads it as a script. No
# -Bsymbolic and no protected visibility: a host that is not position-independent has its own copy
# of kelp_inited, which the library must then use too.
set(KELP_EXPORTS ${PROJECT_SOURCE_DIR}/cmake/exported_symbols.txt)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${KELP_EXPORTS})
file(STRINGS ${KELP_EXPORTS} symbols)
list(JOIN symbols "; " symbols)
set(KELP_VERSION_SCRIPT ${CMAKE_CURRENT_BINARY_DIR}/kelp.map)
file(CONFIGURE OUTPUT ${KELP_VERSION_SCRIPT}
  CONTENT "{ global: ${symbols}; local: *; };\n" @ONLY)

set_target_properties(kelp PROPERTIES
  VERSION ${PROJECT_VERSION}
  SOVERSION ${PROJECT_VERSION_MAJOR}
  LINK_DEPENDS ${KELP_VERSION_SCRIPT})
target_link_options(kelp PRIVATE -Wl,--version-script=${KELP_VERSION_SCRIPT})
target_link_libraries(kelp PRIVATE kelp_shared_flags)
if(KELP_SANITIZE)
  target_link_options(kelp_static INTERFACE -fsanitize=${KELP_SANITIZE})
endif()
