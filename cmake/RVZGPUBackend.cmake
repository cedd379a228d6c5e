# Backend selection. Sets RVZGPU_BACKEND_CUDA (0/1) and the function
# rvzgpu_kernel_sources(), which hands .cu files to the right compiler.

if(RVZGPU_BACKEND STREQUAL "cuda")
  set(RVZGPU_BACKEND_CUDA 1)
  if(NOT DEFINED CMAKE_CUDA_ARCHITECTURES)
    # An explicit list: "native" fails on a machine without a GPU.
    set(CMAKE_CUDA_ARCHITECTURES 80 90)
  endif()
  enable_language(CUDA)
  set(CMAKE_CUDA_STANDARD 17)
  set(CMAKE_CUDA_STANDARD_REQUIRED ON)
  find_package(CUDAToolkit REQUIRED)
elseif(RVZGPU_BACKEND STREQUAL "host")
  set(RVZGPU_BACKEND_CUDA 0)
else()
  message(FATAL_ERROR "RVZGPU_BACKEND must be host or cuda, not '${RVZGPU_BACKEND}'")
endif()

# Floating point: no contraction into fused multiply-adds except where the
# code writes fma() itself, so that both backends produce the same bits.
set(RVZGPU_CXX_FP_FLAGS -ffp-contract=off)
set(RVZGPU_CUDA_FP_FLAGS --fmad=false)

# Hardware fused multiply-add on the host backend. Kernels write fma()
# themselves wherever they fuse; without -mfma GCC calls libm's fma through
# the PLT for each one, which neither inlines nor vectorises. fma() is exact
# either way (one rounding), so the choice changes speed, never bits.
#   AUTO  use -mfma when the machine that configures the build runs FMA code
#   ON    always (the build then runs only on CPUs with FMA)
#   OFF   never
set(RVZGPU_HOST_FMA AUTO CACHE STRING "Host backend: compile with -mfma (AUTO, ON, OFF)")
set_property(CACHE RVZGPU_HOST_FMA PROPERTY STRINGS AUTO ON OFF)
set(RVZGPU_HOST_ARCH_FLAGS)
if(NOT RVZGPU_BACKEND_CUDA)
  if(RVZGPU_HOST_FMA STREQUAL "AUTO")
    include(CheckCXXSourceRuns)
    set(CMAKE_REQUIRED_FLAGS -mfma)
    check_cxx_source_runs([=[
      #include <cmath>
      int main()
      {
          if (!__builtin_cpu_supports("fma")) return 1;
          volatile double a = 1.0 + 0x1p-30, b = 1.0 - 0x1p-30, c = -1.0;
          return std::fma(a, b, c) == -0x1p-60 ? 0 : 1;
      }]=] RVZGPU_HOST_RUNS_FMA)
    unset(CMAKE_REQUIRED_FLAGS)
    if(RVZGPU_HOST_RUNS_FMA)
      set(RVZGPU_HOST_ARCH_FLAGS -mfma)
    endif()
  elseif(RVZGPU_HOST_FMA STREQUAL "ON")
    set(RVZGPU_HOST_ARCH_FLAGS -mfma)
  elseif(NOT RVZGPU_HOST_FMA STREQUAL "OFF")
    message(FATAL_ERROR "RVZGPU_HOST_FMA must be AUTO, ON or OFF, not '${RVZGPU_HOST_FMA}'")
  endif()
  message(STATUS "RVZGPU host backend fused multiply-add: ${RVZGPU_HOST_FMA} -> '${RVZGPU_HOST_ARCH_FLAGS}'")
endif()

# AVX-512 on the host backend. The launcher runs a block's 256 threads as
# one loop over the thread index; with AVX-512's masked loads and stores the
# compiler turns that loop, its "i < n" guard included, into vector code.
# Vector code does the same IEEE operations on each element in the same
# order (contraction stays off, nothing is reassociated), so the choice
# changes speed, never bits.
#
# Straight-line (SLP) vectorisation stays off with it: GCC 12.2 with
# -mavx512f copies the constant array {2.0, 2.0, 2.0, 0.0} as a broadcast
# of 2.0 when SLP turns the copy into one vector constant (all four entries
# become 2.0). The loop vectoriser, which the launcher needs, is unaffected.
# The configure check runs that copy and uses AVX-512 only where it comes
# out right.
#   AUTO  use it when the machine that configures the build runs AVX-512
#         (F, VL, DQ, BW, CD) and the check's copy is exact
#   ON    always (the build then runs only on CPUs with AVX-512)
#   OFF   never
set(RVZGPU_HOST_AVX512 AUTO CACHE STRING "Host backend: compile with AVX-512 (AUTO, ON, OFF)")
set_property(CACHE RVZGPU_HOST_AVX512 PROPERTY STRINGS AUTO ON OFF)
set(RVZGPU_HOST_AVX512_FLAGS -mavx512f -mavx512vl -mavx512dq -mavx512bw -mavx512cd -fno-tree-slp-vectorize)
if(NOT RVZGPU_BACKEND_CUDA)
  if(RVZGPU_HOST_AVX512 STREQUAL "AUTO")
    include(CheckCXXSourceRuns)
    list(JOIN RVZGPU_HOST_AVX512_FLAGS " " CMAKE_REQUIRED_FLAGS)
    string(APPEND CMAKE_REQUIRED_FLAGS " -O3")
    check_cxx_source_runs([=[
      #include <cstring>
      __attribute__((noinline)) void copy_constant(double* p)
      {
          const double c[4] = {2.0, 2.0, 2.0, 0.0};
          std::memcpy(p, c, sizeof c);
      }
      int main()
      {
          if (!(__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512vl") &&
                __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("avx512bw") &&
                __builtin_cpu_supports("avx512cd")))
              return 1;
          double p[4] = {1.0, 1.0, 1.0, 1.0};
          copy_constant(p);
          return p[0] == 2.0 && p[1] == 2.0 && p[2] == 2.0 && p[3] == 0.0 ? 0 : 1;
      }]=] RVZGPU_HOST_RUNS_AVX512_EXACT)
    unset(CMAKE_REQUIRED_FLAGS)
    if(RVZGPU_HOST_RUNS_AVX512_EXACT)
      list(APPEND RVZGPU_HOST_ARCH_FLAGS ${RVZGPU_HOST_AVX512_FLAGS})
    endif()
  elseif(RVZGPU_HOST_AVX512 STREQUAL "ON")
    list(APPEND RVZGPU_HOST_ARCH_FLAGS ${RVZGPU_HOST_AVX512_FLAGS})
  elseif(NOT RVZGPU_HOST_AVX512 STREQUAL "OFF")
    message(FATAL_ERROR "RVZGPU_HOST_AVX512 must be AUTO, ON or OFF, not '${RVZGPU_HOST_AVX512}'")
  endif()
  message(STATUS "RVZGPU host backend AVX-512: ${RVZGPU_HOST_AVX512} -> '${RVZGPU_HOST_ARCH_FLAGS}'")
endif()

# Thrust for the host backend: the CUDA toolkit's CCCL headers when a
# toolkit is installed, else Debian's libthrust-dev.
function(rvzgpu_find_host_thrust out_var)
  find_path(RVZGPU_THRUST_INCLUDE thrust/sort.h
    PATHS /usr/local/cuda/targets/x86_64-linux/include/cccl
          /usr/local/cuda/include/cccl
          /usr/include
    NO_DEFAULT_PATH)
  if(NOT RVZGPU_THRUST_INCLUDE)
    message(FATAL_ERROR "Thrust headers not found: install libthrust-dev or a CUDA toolkit")
  endif()
  set(${out_var} ${RVZGPU_THRUST_INCLUDE} PARENT_SCOPE)
endfunction()

# Compile .cu files with nvcc on cuda, as C++ on host.
function(rvzgpu_kernel_sources)
  if(NOT RVZGPU_BACKEND_CUDA)
    set_source_files_properties(${ARGN} PROPERTIES LANGUAGE CXX)
  endif()
endfunction()

# Flags every target built from the library's sources uses.
function(rvzgpu_target_flags target)
  target_compile_options(${target} PRIVATE
    $<$<COMPILE_LANGUAGE:CXX>:${RVZGPU_CXX_FP_FLAGS}>
    $<$<COMPILE_LANGUAGE:CUDA>:${RVZGPU_CUDA_FP_FLAGS} --expt-relaxed-constexpr -Xcompiler=-ffp-contract=off>)
  if(NOT RVZGPU_BACKEND_CUDA)
    # Thread-local launch indices are read in every kernel thread: keep them
    # a single instruction away. Kernels are global functions and the code
    # is position-independent; without -fno-semantic-interposition GCC
    # assumes a shared library could replace a kernel's body and never
    # inlines it into its launcher's per-thread loop.
    target_compile_options(${target} PRIVATE
      $<$<COMPILE_LANGUAGE:CXX>:-ftls-model=initial-exec -fno-semantic-interposition ${RVZGPU_HOST_ARCH_FLAGS}>)
  endif()
endfunction()
