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
    # a single instruction away.
    target_compile_options(${target} PRIVATE $<$<COMPILE_LANGUAGE:CXX>:-ftls-model=initial-exec>)
  endif()
endfunction()
