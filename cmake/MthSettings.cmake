# Compiler settings of our own targets. Nothing here reaches the hosts that link the library.

include(CheckCXXCompilerFlag)

# What keeps every operation of ours rounded as it is written. It stands behind the flags of whoever builds us and takes
# back what they loosen. On x86 no fused multiply-add may be at hand but in the kernels that ask for it: g++ 12 makes
# fused instructions of complex products in spite of -ffp-contract=off.
function(mth_find_exact_flags result)
  # Some compilers only warn of what they do not know. A warning of the host's own flags must not make ours look unknown:
  # of those, only what chooses the machine counts here.
  set(CMAKE_REQUIRED_FLAGS -Werror)
  string(REGEX MATCHALL "-m(32|64)|--?(target|sysroot)[= ][^ ]+" CMAKE_CXX_FLAGS "${CMAKE_CXX_FLAGS}")
  string(REPLACE ";" " " CMAKE_CXX_FLAGS "${CMAKE_CXX_FLAGS}")
  set(CMAKE_CXX_FLAGS_DEBUG "")
  set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)
  set(flags "")
  foreach(flag ${ARGN})
    string(MAKE_C_IDENTIFIER "MTH_HAS${flag}" has)
    check_cxx_compiler_flag(${flag} ${has})
    if(${has})
      list(APPEND flags ${flag})
    endif()
  endforeach()
  set(${result} "${flags}" PARENT_SCOPE)
endfunction()

if(MSVC)
  set(MTH_EXACT_FLAGS /fp:precise)
else()
  mth_find_exact_flags(
    MTH_EXACT_FLAGS
    -ffp-contract=off
    -fno-fast-math
    -fno-unsafe-math-optimizations
    -fno-associative-math
    -fno-reciprocal-math
    -fno-finite-math-only
    -fsigned-zeros
    -fno-cx-limited-range
    -fno-single-precision-constant
    -mno-fma
    -mno-fma4
    -mno-avx512f)
  if(CMAKE_CXX_COMPILER_ID MATCHES "GNU|Clang" AND NOT "-ffp-contract=off" IN_LIST MTH_EXACT_FLAGS)
    message(FATAL_ERROR "The compiler refuses -ffp-contract=off: mth's results, which are fixed bit for bit, need it")
  endif()
  # The x87, which 32-bit compilers use unasked, keeps more digits than a double has.
  get_directory_property(host_options COMPILE_OPTIONS)
  if("${CMAKE_CXX_FLAGS} ${host_options}" MATCHES "-mfpmath=")
    list(APPEND MTH_EXACT_FLAGS -mfpmath=sse)
  elseif(CMAKE_SIZEOF_VOID_P EQUAL 4 AND CMAKE_SYSTEM_PROCESSOR MATCHES "86|AMD64" AND NOT EMSCRIPTEN)  # which says x86
    list(APPEND MTH_EXACT_FLAGS -msse2 -mfpmath=sse)
  endif()
endif()

# On 64-bit Windows g++ does not align the stack for the wide registers that it saves there, and yet saves them by
# instructions that need it: the assembler is to write those that do not. An older one gets the plain loops.
if(MINGW AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  set(MTH_UNALIGNED_MOVES -Wa,-muse-unaligned-vector-move)
  check_cxx_compiler_flag(${MTH_UNALIGNED_MOVES} MTH_HAS_UNALIGNED_MOVES)
  if(NOT MTH_HAS_UNALIGNED_MOVES)
    set(MTH_PLAIN_KERNELS ON)
  endif()
endif()

# mth_configure_target(target): language level, warnings and the floating-point contract.
function(mth_configure_target target)
  target_compile_features(${target} PUBLIC cxx_std_20)
  # Sources stay apart even where a host builds its own as one: each compiles its kernels under the same names.
  set_target_properties(${target} PROPERTIES CXX_EXTENSIONS OFF CXX_VISIBILITY_PRESET hidden
                                             VISIBILITY_INLINES_HIDDEN ON UNITY_BUILD OFF)
  target_compile_options(${target} PRIVATE ${MTH_EXACT_FLAGS})
  if(MSVC)
    target_compile_options(${target} PRIVATE /W4 /wd4068 /utf-8)  # 4068: another compiler's pragma
  else()
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wconversion -Wshadow)
    if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
      # As g++ means -Wconversion: an int that indexes a container is no fault.
      target_compile_options(${target} PRIVATE -Wno-sign-conversion)
    endif()
  endif()
  if(EMSCRIPTEN)  # which leaves exceptions out unless it is asked
    # Those of JavaScript, which every browser knows, wrap calls in functions of JavaScript; no vector can pass these.
    set(exceptions -fexceptions)
    if(CMAKE_CXX_FLAGS MATCHES "-msimd128")
      set(exceptions -fwasm-exceptions)
    endif()
    target_compile_options(${target} PRIVATE ${exceptions})
    target_link_options(${target} PUBLIC ${exceptions} -sALLOW_MEMORY_GROWTH=1)
  endif()
  if(MINGW AND MTH_HAS_UNALIGNED_MOVES)
    target_compile_options(${target} PRIVATE ${MTH_UNALIGNED_MOVES})
  endif()
  if(MTH_WARNINGS_AS_ERRORS)
    target_compile_options(${target} PRIVATE $<IF:$<CXX_COMPILER_ID:MSVC>,/WX,-Werror>)
  endif()
  if(MTH_PLAIN_KERNELS)
    target_compile_definitions(${target} PRIVATE MTH_PLAIN_KERNELS)
  endif()
  if(MTH_SANITIZE)
    # GCC warns of its own standard library, such as std::regex, when sanitizers are on.
    target_compile_options(${target} PRIVATE -fsanitize=address,undefined -fno-sanitize-recover=all
                                             -fno-omit-frame-pointer -Wno-maybe-uninitialized)
    target_link_options(${target} PUBLIC -fsanitize=address,undefined)
  endif()
  if(MTH_SANITIZE_THREADS)
    target_compile_options(${target} PRIVATE -fsanitize=thread)
    target_link_options(${target} PUBLIC -fsanitize=thread)
  endif()
endfunction()

# mth_compile_together(target count): several sources at a time, where g++ does it: most of the work is to read the headers.
# Other compilers mind names that come again.
function(mth_compile_together target count)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE ${count})
  endif()
endfunction()

# mth_build_quickly(target): compiles what only calls the library, and is run a few times at most, without optimisation and
# several sources at a time where the build asks for it.
function(mth_build_quickly target)
  if(MTH_QUICK_BUILD AND NOT MSVC)
    target_compile_options(${target} PRIVATE -O0 $<$<NOT:$<CONFIG:Release>>:-g1>)
    mth_compile_together(${target} 6)
  endif()
endfunction()

# mth_precompile(target headers...): headers that most sources of a target read are compiled once, where the build asks for
# it and g++ does it. mth_share_precompiled(target other): takes those of another target with the same options.
function(mth_precompile target)
  if(MTH_PRECOMPILE AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    target_precompile_headers(${target} PRIVATE ${ARGN})
  endif()
endfunction()

function(mth_share_precompiled target other)
  if(MTH_PRECOMPILE AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    target_precompile_headers(${target} REUSE_FROM ${other})
  endif()
endfunction()

# mth_configure_library(target): a library that is installed and exported as mth::<export name>.
function(mth_configure_library target)
  mth_configure_target(${target})
  target_compile_definitions(${target} PRIVATE MTH_BUILDING)
  if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
    # A host that embeds the library and names no build type gets it fast all the same.
    target_compile_options(${target} PRIVATE $<IF:$<CXX_COMPILER_ID:MSVC>,/O2,-O3>)
    target_compile_definitions(${target} PRIVATE NDEBUG)
  endif()
  target_include_directories(${target} PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>
                                              $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
  set_target_properties(${target} PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR}
                                             POSITION_INDEPENDENT_CODE ON WINDOWS_EXPORT_ALL_SYMBOLS ON)
  if(MINGW)
    # What a DLL takes from the compiler's own archives is not for others: two of them would hand it out.
    target_link_options(${target} PRIVATE -Wl,--exclude-libs,ALL)
  endif()
  if(NOT APPLE AND NOT WIN32)
    # The libraries stand beside each other wherever they are installed, and find each other there.
    set_target_properties(${target} PROPERTIES INSTALL_RPATH "$ORIGIN")
  endif()
endfunction()
