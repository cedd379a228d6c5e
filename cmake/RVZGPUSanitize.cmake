# RVZGPU_SANITIZE: AddressSanitizer and UndefinedBehaviorSanitizer over every
# target of the project (library, mesh toolkit, message passing, examples,
# tests and, unless switched off, benchmarks), for the host backend.
#
# - Every undefined-behaviour check is fatal, so a finding fails the test
#   that met it instead of scrolling past (see the flags below).
# - The host runtime hands out device arrays of exactly the requested size
#   (RVZGPU_EXACT_ALLOCATIONS) instead of rounding them up to 256 bytes, so
#   that an access past the end of a device array hits ASan's red zone.
# - Clang is the compiler: GCC 12 rejects -fsanitize=null on the
#   `if constexpr` comparison of kernel pointers that picks the stream
#   copies of the stream BiCGSTAB driver (valid C++17: GCC stops treating the
#   comparison of two function addresses as a constant expression).
# The suppressions of findings outside this library and the run-time
# options live in scripts/sanitizers/ (env.sh sets the options;
# scripts/test.sh sources it).

option(RVZGPU_SANITIZE "Build the host backend with AddressSanitizer and UndefinedBehaviorSanitizer" OFF)

# rvzgpu_mpi_test_environment(test...): tests that run MPI programs record
# allocation stacks with the slow unwinder, which reaches into OpenMPI's
# libraries (built without frame pointers), so that the suppressions of
# OpenMPI's leaks (scripts/sanitizers/lsan.supp) can match them.
function(rvzgpu_mpi_test_environment)
  if(RVZGPU_SANITIZE)
    set_property(TEST ${ARGN} APPEND PROPERTY ENVIRONMENT_MODIFICATION
                 "ASAN_OPTIONS=string_append::fast_unwind_on_malloc=0")
  endif()
endfunction()

if(NOT RVZGPU_SANITIZE)
  return()
endif()
if(RVZGPU_BACKEND_CUDA)
  message(FATAL_ERROR "RVZGPU_SANITIZE needs the host backend")
endif()
if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  message(FATAL_ERROR "RVZGPU_SANITIZE needs clang (configure with -DCMAKE_C_COMPILER=clang-14 "
                      "-DCMAKE_CXX_COMPILER=clang++-14): GCC ${CMAKE_CXX_COMPILER_VERSION} rejects the null "
                      "check on constant-expression comparisons of function pointers")
endif()

# Every check is fatal at compile time except the null check, which stays
# recoverable so that the run-time suppression of Thrust's deliberate null
# dispatch (scripts/sanitizers/ubsan.supp) can apply; the run-time option
# halt_on_error=1 (scripts/sanitizers/env.sh) makes any other null report
# fatal.
set(RVZGPU_SANITIZE_FLAGS -fsanitize=address,undefined -fno-sanitize-recover=all -fsanitize-recover=null)
# Whole frames and line tables for readable reports; -O2, since the
# instrumented run of the channel solver's tests is the longest step of the
# CI run.
add_compile_options(${RVZGPU_SANITIZE_FLAGS} -fno-omit-frame-pointer -gline-tables-only -O2)
add_link_options(${RVZGPU_SANITIZE_FLAGS})
set(RVZGPU_EXACT_ALLOCATIONS ON)
