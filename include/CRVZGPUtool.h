// CRVZGPUtool: the GPU computing library of an unstructured finite-volume
// solver of polymer melt flow.
//
// A host solver constructs one CRVZGPUtool per process, selects a device
// with SetDeviceToUse, keeps its fields in device arrays allocated through
// this class, and calls one method per algebraic step. Every method returns
// an int status: 0 on success, otherwise the device runtime's error code
// (cudaError_t numbering on both backends); no exception crosses this
// boundary. Indices and counts are 0-based 32-bit ints. Unless a method's
// comment says otherwise, arguments are not validated: the caller passes
// arrays of the documented lengths.
//
// The header compiles with a plain C++17 compiler on both backends.
#ifndef RVZGPU_CRVZGPUTOOL_H
#define RVZGPU_CRVZGPUTOOL_H

#include <cstddef>

#include "rvzgpu_config.h"

#if RVZGPU_BACKEND_CUDA
#include <driver_types.h>
#else
typedef struct CUstream_st* cudaStream_t;
#endif

class CRVZCom;
class CRVZGPUtool_Imple;

// Preconditioner of the Krylov solvers: 0 none, 1 Jacobi (inverse diagonal).
typedef int RVZPreconditionType;

// The record that hands the fibre-orientation rate kernel its eighteen
// device arrays in one argument: the six components (xx, yy, zz, xy, xz, yz)
// of F0, of dx and of xAvg.
struct stF0_dx_xAvg {
    double* F0[6];
    double* dx[6];
    double* xAvg[6];
};
static_assert(sizeof(stF0_dx_xAvg) == 144, "the fibre record holds eighteen 8-byte device pointers");

class CRVZGPUtool {
public:
    // ---------------------------------------------------------------------
    // Lifecycle, devices and errors
    // ---------------------------------------------------------------------

    // Enumerates the devices with double precision. On a machine without a
    // usable device the object is still built (no device can be selected).
    // If the implementation object cannot be allocated, prints
    // "Allocate CRVZGPUtool_Imple failed!" and ends the process with -1.
    CRVZGPUtool();
    ~CRVZGPUtool();

    // A facade owns its implementation object alone: it cannot be copied.
    CRVZGPUtool(const CRVZGPUtool&) = delete;
    CRVZGPUtool& operator=(const CRVZGPUtool&) = delete;

    // Selects the device with this platform ordinal and prefers L1 cache
    // over shared memory. Returns the platform's code when the ordinal is
    // rejected, leaving the selection unchanged.
    int SetDeviceToUse(int device);
    // Writes the selected ordinal, -1 before a successful SetDeviceToUse.
    int GetSelectedDevice(int& device);
    // Text of a status code (the platform's text for the codes the runtime
    // documents, the library's own for -1, -2, -3). Valid until the next call.
    const char* GetGPUErrorMessage(int code);
    // The platform's last error, which the call also clears.
    int GPUGetLastError();
    // Waits for the device to finish; always returns 0 (a fault shows up in
    // the next GPUGetLastError).
    int GPUDeviceSynchronize();
    // The level table of a reduction over n elements: nLevels levels of
    // size[k] entries; level k-1 writes its size[k] partial results at
    // offset[k-1] of a buffer of `total` doubles; the result ends at
    // offset[nLevels-2]. Returns 0; for n < 1 (no table exists) returns
    // cudaErrorInvalidValue with nLevels = total = 0.
    int GetSizeOfBlock(int n, int& total, int& nLevels, int count[16], int size[16], int offset[16]);

    // ---------------------------------------------------------------------
    // Device memory, transfers, streams and the key sort
    //
    // Counts are element counts; a count of zero is a successful no-op. A
    // negative count is refused with cudaErrorInvalidValue (1) before any
    // platform call. Host pointers come first in host-device copies; device-
    // to-device copies take the destination first.
    // ---------------------------------------------------------------------

    // Allocates n elements and fills them with zero bytes; n = 0 leaves p as
    // it was. Returns the allocation status (cudaErrorMemoryAllocation when
    // the device cannot hold n elements).
    int AllocateDeviceMemory(int n, int*& p);
    int AllocateDeviceMemory(int n, float*& p);
    int AllocateDeviceMemory(int n, double*& p);
    int AllocateDeviceMemory(int n, bool*& p);
    int AllocateDeviceMemory(int n, stF0_dx_xAvg*& p);
    // Releases p (null: nothing to do). The caller's pointer is not cleared.
    int FreeDeviceMemory(int* p);
    int FreeDeviceMemory(float* p);
    int FreeDeviceMemory(double* p);
    int FreeDeviceMemory(bool* p);
    int FreeDeviceMemory(stF0_dx_xAvg* p);
    // Sets n elements to zero bytes (null p: nothing to do).
    int ZeroDeviceMemory(int n, int* p);
    int ZeroDeviceMemory(int n, float* p);
    int ZeroDeviceMemory(int n, double* p);
    int ZeroDeviceMemory(int n, bool* p);
    int DataCopyHost2Device(int n, int* host, int* device);
    int DataCopyHost2Device(int n, float* host, float* device);
    int DataCopyHost2Device(int n, double* host, double* device);
    int DataCopyHost2Device(int n, bool* host, bool* device);
    int DataCopyHost2Device(int n, stF0_dx_xAvg* host, stF0_dx_xAvg* device);
    int DataCopyDevice2Host(int n, int* host, int* device);
    int DataCopyDevice2Host(int n, float* host, float* device);
    int DataCopyDevice2Host(int n, double* host, double* device);
    int DataCopyDevice2Host(int n, bool* host, bool* device);
    int DataCopyDevice2Device(int n, int* dst, int* src);
    int DataCopyDevice2Device(int n, float* dst, float* src);
    int DataCopyDevice2Device(int n, double* dst, double* src);
    int DataCopyDevice2Device(int n, bool* dst, bool* src);
    // Queued on stream s; the host buffer must stay valid (and be page-locked
    // for overlap) until the stream is synchronised.
    int DataCopyHost2DeviceAsync(int n, double* host, double* device, cudaStream_t s);
    int DataCopyDevice2HostAsync(int n, double* host, double* device, cudaStream_t s);
    int DataCopyDevice2DeviceAsync(int n, double* dst, double* src, cudaStream_t s);
    // Page-locked host buffer of n doubles, filled with zeros.
    int AllocateHostMemory(int n, double*& p);
    int FreeHostMemory(double* p);
    int GPUMemoryGetInfo(size_t& free, size_t& total);
    int CreateCUDAStream(cudaStream_t* s);
    int DestroyCUDAStream(cudaStream_t s);
    int SyncCUDAStream(cudaStream_t s);
    // Sorts n device keys in place into ascending order (Thrust's device
    // sort, a radix sort for this key type). Returns 0.
    int Thrust_RadixSort(unsigned int* keys, unsigned int n);

    // ---------------------------------------------------------------------
    // Sparse storage, products, conjugate gradient and BiCGSTAB
    // ---------------------------------------------------------------------
    // @SPARSE-BEGIN
    //
    // CSR: ia[nnu+1] row starts, ja/aa the entries, the first entry of every
    // row its diagonal. ELL: new_nnu rows (nnu rounded up to a multiple of
    // 256) by NColumnPerRow slots, slot k of row i at i + k * new_nnu, slot 0
    // the diagonal, index -1 marking an unused slot. Vectors used with ELL
    // matrices hold new_nnu entries. The solvers trust their arguments:
    // patterns, lengths and the diagonal position are not validated.

    // Returns new_nnu = nnu rounded up to a multiple of 256 (not a status)
    // and records nnu as the last row count given.
    int CalcNewNNU(int const& nnu);
    // Returns the largest ia[k] - ia[k-1] over k = 1 .. n-1 (0 when n < 2 or
    // no difference is positive); pass n = nnu + 1 to cover every row.
    int CalcMaxNColumn(int const& n, int* const ia);
    // Host arrays: fills aaELL (new_nnu * NColumnPerRow values) from CSR;
    // unused slots get 0.0, every slot of a padding row 1.0. Nothing is
    // written when NColumnPerRow < 1. Returns 0.
    int aa2aaELLd(int const& nnu, int const& NColumnPerRow, int const& new_nnu, int* const ia, double* const aa,
                  double* aaELL);
    // Host arrays: fills indexELL from CSR; unused and padding slots get -1.
    // Returns 0.
    int ja2indexELL(int const& nnu, int const& NColumnPerRow, int const& new_nnu, int* const ia, int* const ja,
                    int* indexELL);

    // Conjugate gradient for a symmetric positive definite matrix, plain
    // (type 0) or Jacobi (type 1); any other type returns 0 without work.
    // sol holds the initial guess and receives the solution. resIn =
    // ||b - A x0||, resOut = ||r|| after the last iteration, iter the
    // iterations run; the loop stops when ||r|| <= |tol| resIn (or the
    // residual is NaN) or iter >= maxIter, after at least one iteration. An
    // initial residual of exactly zero returns at once with iter = 0.
    // Allocates 4 (Jacobi 7) work vectors and 5 partial-sum buffers per
    // call; per iteration one product, about eight vector passes and three
    // or four eight-byte copies to the host. Prints a start line and an end
    // line. Returns 0, the code of a failed work allocation (reported, no
    // iteration, resOut and iter untouched) or the last device error after
    // the loop (reported as "Computing failed").
    int CG_CSR(int const& nnu, int const& nna, int* ia, int* ja, double* aa, double* rhs, double* sol,
               double const& tol, double& resIn, double& resOut, int& iter, int const& maxIter,
               RVZPreconditionType preconditioner);
    // The same on ELL storage; additionally prints the device memory the
    // solve needs ("RequiredGPUMemoryInMB=").
    int CG_ELL(int const& nnu, int const& NColumnPerRow, int* indexELL, double* aaELL, double* rhs, double* sol,
               double const& tol, double& resIn, double& resOut, int& iter, int maxIter,
               RVZPreconditionType preconditioner);

    // BiCGSTAB for a non-symmetric matrix, plain (type 0) or right-
    // preconditioned with the inverse diagonal (type 1); other types return
    // 0 without work. Stops on |rho| < 1e-99 ("rho=" line), on ||s|| < |tol|
    // (the raw tolerance; "s_norm=" line), on ||r|| <= |tol| resIn or after
    // maxIter iterations (at least one runs). Prints a start line and an end
    // line without a line break. Allocates its work storage per call; two
    // products, two reductions of two quantities and four of one per
    // iteration. Returns 0, a failed allocation's code or the last device
    // error after the loop ("Computing failed").
    int BiCGSTAB_CSR(int const& nnu, int const& nna, int* ia, int* ja, double* aa, double* rhs, double* sol,
                     double const& tol, double& resIn, double& resOut, int& iter, int const& maxIter,
                     RVZPreconditionType preconditioner);
    // On ELL storage. Type 0 behaves as BiCGSTAB_CSR (start line
    // "CUDA_BiCGSTABELL"). Type 1 prints nothing and stops silently at the
    // first exact zero of rho, beta, r~.v, alpha, t.t or omega; its
    // reference residual is the one after the first iteration (resIn is
    // overwritten with it), iter is the iteration in which it stopped or
    // maxIter + 1, and an exact initial guess returns at once with resOut
    // and iter untouched.
    int BiCGSTAB_ELL(int const& nnu, int const& NColumnPerRow, int* indexELL, double* aaELL, double* rhs,
                     double* sol, double const& tol, double& resIn, double& resOut, int& iter, int maxIter,
                     RVZPreconditionType preconditioner);
    // Jacobi BiCGSTAB on ELL storage (as BiCGSTAB_ELL type 1) in caller
    // storage, so that a time loop allocates nothing: six partial-sum
    // buffers of `total` doubles (residual, alpha denominator, rho, s, omega
    // numerator, omega denominator), nine vectors of workLength doubles (r,
    // P, v, r~, s, t, inverse diagonal, s^, p^), all zero-filled by the
    // call, and the level table of GetSizeOfBlock(new_nnu) in the order
    // nLevels, size, total, count, offset. Neither the table nor the array
    // lengths are validated. Reports a device error after the loop as
    // "Serial BiJCGSTAB Computing failed" and returns it.
    int BiJCGSTABELL_woMalloc(int const& nnu, int const& NColumnPerRow, int* indexELL, double* aaELL, double* rhs,
                              double* sol, double const& tol, double& resIn, double& resOut, int& iter,
                              int const& maxIter, double* resNextLevelD, double* aDenominatorNextLevelD,
                              double* rhoNextLevelD, double* sNextLevelD, double* omegaNumeratorNextLevelD,
                              double* omegaDenominatorNextLevelD, double* resD, double* PD, double* vD,
                              double* restiltD, double* sD, double* tD, double* diagonal_reciprocalD, double* ssD,
                              double* ppD, int new_nnu, int nLevels, int* size, int total, int* count, int* offset,
                              int const& workLength);
    // @SPARSE-END

    // ---------------------------------------------------------------------
    // Distributed solvers
    // ---------------------------------------------------------------------
    // @DISTRIBUTED-BEGIN
    // Conjugate gradient (plain, type 0, or Jacobi, type 1) for a matrix
    // distributed by rows over processes, on CSR or ELL storage. Each process
    // owns nnu rows; column indices at or above nnu name its halo positions
    // nnu .. nnu+nHalo-1, whose values the caller has put into sol beyond
    // nnu. Every reduced scalar is summed over all processes
    // (CRVZCom::AllSum on comm, one call per scalar, four or five per
    // iteration); after every update of the search direction its halo is
    // refreshed through the host: for each neighbour the values at its
    // sendIndex positions are packed one by one, exchanged with SendRecv
    // (the j-th send and receive neighbours paired, so both lists must name
    // the same ranks in the same order; tag of a message from s to t
    // (s + 10t + 11) x 10) and unpacked at the recvIndex positions. CSR moves
    // the whole local vector to the host and back per refresh; ELL gathers
    // the sent values on the device and returns only the range of receive
    // positions, on three streams it creates and destroys. After the loop the
    // solution with its halo (nnu + nHalo values) ends in solHost, its halo
    // refreshed (ELL: Isend, then Irecv and Wait per neighbour). Prints
    // "CPUID:%d, CUDA_(J)CGPCSR..." or "...(J)CGPELL..." and, CSR on rank 0,
    // "resIn=%e, tolerance=%e". Stops when ||r|| <= |tol| resIn (global) or
    // after maxIter iterations; at least one runs unless resIn is exactly 0.
    // A failed allocation or device step is reported with "CPUID:%d" and
    // ends every process (CRVZCom::Abort). Returns 0; -1 when the block size
    // is not 256; 0 without work for another preconditioner type. All
    // processes must call together with consistent lists (not validated,
    // except that the send and receive neighbour counts agree). A null com
    // is refused with a report and cudaErrorInvalidValue. The two unnamed
    // int references are not used.
    int CGP_CSR(int const& nnu, int const& nna, int* ia, int* ja, double* aa, double* rhs, double* sol,
                double* solHost, double const& tol, double& resIn, double& resOut, int& iter, int maxIter,
                RVZPreconditionType preconditioner, int& notUsed1, int& nSendNbr, int* sendNbr,
                int* sendStart, int* sendIndex, int& nHalo, int& nRecvNbr, int* recvNbr, int* recvStart,
                int* recvIndex, int& comm, int& rank, int& notUsed2, CRVZCom* com);
    int CGP_ELL(int const& nnu, int const& NColumnPerRow, int* indexELL, double* aaELL, double* rhs, double* sol,
                double* solHost, double const& tol, double& resIn, double& resOut, int& iter, int maxIter,
                RVZPreconditionType preconditioner, int& notUsed1, int& nSendNbr, int* sendNbr,
                int* sendStart, int* sendIndex, int& nHalo, int& nRecvNbr, int* recvNbr, int* recvStart,
                int* recvIndex, int& comm, int& rank, int& notUsed2, CRVZCom* com);

    // BiJCGSTABELL_woMalloc over processes (same arguments first, work
    // vectors of workLength >= max(new_nnu, nnu + halo slots)), then: the
    // message-passing object, the process count, an unused array, the
    // exchange buffer (entries 1 .. the longest neighbour block), the 1-based
    // host exchange data (nbrList[1..nNbr] neighbour ranks; nbrStart[rank]
    // the first entry of that neighbour's block; sendIndexHost and
    // recvIndexHost [1..NParInterFace] host positions, blocks contiguous in
    // nbrList order), the host fields of pHat and sHat (indexed by host
    // position), the device copy lists ijParCVD (sent cell) and ijParD
    // (receiving halo slot), the device and host staging arrays out
    // (ParD2HCopyListD, host) and in (ParH2DCopyListD, host), and the grid of
    // the copy kernels. Every reduced scalar is summed over the processes
    // with AllSum on CommHandle (not called with one process); just before
    // v = A pHat and t = A sHat, the halo slots of pHat (sHat) are refreshed:
    // gather, copy to the host field, per neighbour SendRecvReplace of its
    // block (tag 100, a block of length 0 included; skipped with one process
    // or no neighbour), scatter. Halo slots not in ijParD keep their values.
    // With one process the result is that of BiJCGSTABELL_woMalloc, bit for
    // bit. A device failure after the loop is reported ("Parallel BiJCGSTAB
    // Computing failed") with the countdown and returned; nothing aborts.
    // All processes must call together with matching lists (not validated).
    // com may be null with one process; with more a null com is refused with
    // a report and cudaErrorInvalidValue.
    int BiJCGSTABELL_woMallocPar(
        int const& nnu, int const& NColumnPerRow, int* indexELL, double* aaELL, double* rhs, double* sol,
        double const& tol, double& resIn, double& resOut, int& iter, int const& maxIter, double* resNextLevelD,
        double* aDenominatorNextLevelD, double* rhoNextLevelD, double* sNextLevelD, double* omegaNumeratorNextLevelD,
        double* omegaDenominatorNextLevelD, double* resD, double* PD, double* vD, double* restiltD, double* sD,
        double* tD, double* diagonal_reciprocalD, double* ssD, double* ppD, int new_nnu, int nLevels, int* size,
        int total, int* count, int* offset, int const& workLength, CRVZCom* com, int const& nProcs, double* notUsed,
        double* exchangeBuffer, int* nbrList, int* nbrStart, int* sendIndexHost, int* recvIndexHost, int nNbr,
        int NParInterFace, double* hostFieldP, double* hostFieldS, int* ijParCVD, int* ijParD,
        double* ParD2HCopyListD, double* ParD2HCopyListHost, double* ParH2DCopyListD, double* ParH2DCopyListHost,
        int copyGrid);
    // The same, with one stream created per call (and destroyed before it
    // returns) on which the copies of the initial residual sum and of rho are
    // queued and waited for. Failure message "Parallel BiJCGSTAB-Stream
    // Computing failed".
    int BiJCGSTABELL_woMallocPar_Stream(
        int const& nnu, int const& NColumnPerRow, int* indexELL, double* aaELL, double* rhs, double* sol,
        double const& tol, double& resIn, double& resOut, int& iter, int const& maxIter, double* resNextLevelD,
        double* aDenominatorNextLevelD, double* rhoNextLevelD, double* sNextLevelD, double* omegaNumeratorNextLevelD,
        double* omegaDenominatorNextLevelD, double* resD, double* PD, double* vD, double* restiltD, double* sD,
        double* tD, double* diagonal_reciprocalD, double* ssD, double* ppD, int new_nnu, int nLevels, int* size,
        int total, int* count, int* offset, int const& workLength, CRVZCom* com, int const& nProcs, double* notUsed,
        double* exchangeBuffer, int* nbrList, int* nbrStart, int* sendIndexHost, int* recvIndexHost, int nNbr,
        int NParInterFace, double* hostFieldP, double* hostFieldS, int* ijParCVD, int* ijParD,
        double* ParD2HCopyListD, double* ParD2HCopyListHost, double* ParH2DCopyListD, double* ParH2DCopyListHost,
        int copyGrid);
    // @DISTRIBUTED-END

    // ---------------------------------------------------------------------
    // Face-to-cell accumulation and cell gradients
    // ---------------------------------------------------------------------
    // @MESH-BEGIN
    // Face-to-cell accumulation. The assembly operations turn face values
    // into cell sums without atomics: a collect step stores each face's
    // value at its own positions of the scratch matrix AELLDtemp (new_nnu
    // rows x NColumnPerRow columns, column after column), given by the slot
    // maps; an update step adds each row's sum, columns in order, to a cell
    // array. Block counts come from the caller (256 threads per block; a
    // count of 0 is an invalid launch, so an empty list still takes one
    // block). Maps, slots and row lists are not validated.

    // Matrix placement of interior-face coefficients: AELLD(Px[f], Py[f]) =
    // aED[f] and AELLD(Ex[f], Ey[f]) = aWD[f] (position column*newNNU + row),
    // plain stores. One launch; moves 2 ints + 1 double per side and face.
    // Reports "Calc_MapaEaEWToAi failed".
    int Calc_MapaEaWToAi(int nFaces, int newNNU, int* MapFace2CellPxD, int* MapFace2CellPyD, int* MapFace2CellExD,
                         int* MapFace2CellEyD, double* aED, double* aWD, double* AELLD, int faceGrid);
    // Matrix placement of partition-interface coefficients: AELLD(Px[f],
    // Py[f]) = aED[f]. The third count is accepted and not used. One launch;
    // reports "Calc_MapaEToAiPar failed".
    int Calc_MapaEToAiPar(int nFaces, int new_nnu, int unused, int* ParMapFace2CellPxD, int* ParMapFace2CellPyD,
                          double* aED, double* AELLD, int faceGrid);

    // Cell gradients by the Gauss theorem, in the caller's steps: zero the
    // outputs, Calc_GradFromInnerCF (or ...Par), Calc_GradFromBC once per
    // boundary list (clear AELLDtemp first: its positions differ),
    // Calc_GradCVCenter. The outputs are only added to.
    //
    // Interior faces: per face f (P = ijPD, E = ijED, w = leD) the field,
    // the previous gradient df_d*0D and the centroid are interpolated along
    // P-E (w*E + (1-w)*P), the field is corrected to the face centroid
    // (xeD..) with that gradient (x, y, z terms added in order) and clipped
    // to the range of fiD[P], fiD[E]; tempxD = sxD*value (y, z alike). Then
    // per component a conservative-pair collect (+temp at the owner side,
    // -temp at the neighbour side) and an all-rows update of rows
    // 0 .. nCells-1 into df_dxD (df_dyD, df_dzD). 7 launches, each checked:
    // "Calc_GradFromInnerCF_tempxyz failed", "Calc_GradFromInnerCF_xyz
    // failed", "Calc_GradFromInnerCF_Updatedd failed". The previous gradient
    // must be readable at every E index and must not alias the outputs; the
    // scratch positions a face does not own must hold 0.
    int Calc_GradFromInnerCF(int nFaces, int nCells, int new_nnu, int NColumnPerRow, double* fiD, double* df_dxD,
                             double* df_dyD, double* df_dzD, double* df_dx0D, double* df_dy0D, double* df_dz0D,
                             double* leD, int* ijPD, int* ijED, double* xcD, double* ycD, double* zcD, double* sxD,
                             double* syD, double* szD, double* xeD, double* yeD, double* zeD, int* MapFace2CellPxD,
                             int* MapFace2CellPyD, int* MapFace2CellExD, int* MapFace2CellEyD, double* tempxD,
                             double* tempyD, double* tempzD, double* AELLDtemp, int faceGrid, int cellGrid);
    // As Calc_GradFromInnerCF, but each update sums only the rows listed in
    // Map2CellPED (nRows entries, distinct): neighbour-side values of faces
    // whose E row is not listed stay in the scratch unsummed. Messages
    // "Calc_GradFromInnerCF_tempxyz(Par) failed", "Calc_GradFromInnerCF_xyz
    // (Par) failed" (without the space), "Calc_GradFromInnerCF_UpdateddPar
    // failed".
    int Calc_GradFromInnerCFPar(int nFaces, int nRows, int new_nnu, int NColumnPerRow, double* fiD, double* df_dxD,
                                double* df_dyD, double* df_dzD, double* df_dx0D, double* df_dy0D, double* df_dz0D,
                                double* leD, int* ijPD, int* ijED, double* xcD, double* ycD, double* zcD,
                                double* sxD, double* syD, double* szD, double* xeD, double* yeD, double* zeD,
                                int* MapFace2CellPxD, int* MapFace2CellPyD, int* MapFace2CellExD,
                                int* MapFace2CellEyD, double* tempxD, double* tempyD, double* tempzD,
                                double* AELLDtemp, int faceGrid, int cellGrid, int* Map2CellPED);
    // One boundary list: tempxD[k] = sxD[k]*fiD[ijbD[k]] (the slot value,
    // uncorrected; sxD.. the list's outward area vectors), then per
    // component an owner-only collect through the list's slot map and a
    // listed-rows update over Map2CellPD (nRows entries). The int* after
    // df_dzD is accepted and not read. 7 launches: "Calc_GradFromBC_tempxyz
    // failed", "Calc_GradFromBC_xyz failed", "Calc_GradFromBC_Updatedd_Opt
    // failed". A list of length 0 leaves the outputs unchanged.
    int Calc_GradFromBC(int nFaces, int nRows, int new_nnu, int NColumnPerRow, double* fiD, double* df_dxD,
                        double* df_dyD, double* df_dzD, int* unused, int* ijbD, double* sxD, double* syD,
                        double* szD, double* tempxD, double* tempyD, double* tempzD, int* MapFace2CellPxD,
                        int* MapFace2CellPyD, double* AELLDtemp, int* Map2CellPD, int faceGrid, int rowGrid);
    // Divides the three components of every cell by volumeD. One launch;
    // "Calc_GradCVCenter failed". A zero volume is not guarded (inf/NaN).
    int Calc_GradCVCenter(int nCells, double* volumeD, double* df_dxD, double* df_dyD, double* df_dzD,
                          int cellGrid);
    // Copies the nine velocity-gradient components of each list entry's
    // cell into its boundary slot: g[ijInOutletD[k]] = g[ijInOutletCVD[k]].
    // One launch; reports "Calc_InletBoundary_Update_dd failed".
    int Calc_InOutletBoundary_Update_dd(int nFaces, int* ijInOutletCVD, int* ijInOutletD, double* du_dxD,
                                        double* du_dyD, double* du_dzD, double* dv_dxD, double* dv_dyD,
                                        double* dv_dzD, double* dw_dxD, double* dw_dyD, double* dw_dzD, int grid);
    // Wall faces: with m = FCRIMatchD[k] (0 or 1), each component becomes
    // g[slot] = m*g[cell] + (m == 0 ? g[slot] : 0): a vent face takes the
    // cell's gradient, a closed wall keeps its slot value. One launch;
    // reports "Calc_WallBoundary_Update_dd failed".
    int Calc_WallBoundary_Update_dd(int nFaces, int* ijWallCVD, int* ijWallD, int* FCRIMatchD, double* du_dxD,
                                    double* du_dyD, double* du_dzD, double* dv_dxD, double* dv_dyD, double* dv_dzD,
                                    double* dw_dxD, double* dw_dyD, double* dw_dzD, int grid);
    // @MESH-END

    // ---------------------------------------------------------------------
    // Momentum and pressure correction
    // ---------------------------------------------------------------------
    // @FLOW-BEGIN
    // ---- Momentum: interior faces (one coefficient set for u, v, w) ----
    //
    // Face f has owner P = ijPD[f], neighbour E = ijED[f], E-side weight
    // w = leD[f], area vector S (P to E), d = centroid(E) - centroid(P),
    // mass flux m = mfeD[f] and D = (|S||d|/(S.d+1e-30))|S|/|d|.
    // Coefficients: aED = min(m,0) - mu_f D, aWD = -max(m,0) - mu_f D, mu_f
    // interpolated from visD. Then for u, v, w in turn: the explicit face
    // source tempD = gamma*(upwind - central flux) + mu_f*lambda*X with
    // X = (G.S - Ds G.d) + T.S (G the component's interpolated gradient, T
    // the matching row of the transposed gradient, Ds = |S|^2/(S.d+1e-30))
    // and the limiter lambda = clip((psi Ds dphi + 1e-30)/((1-psi)X + 1e-30),
    // 0, 1), psi = nonOrthLimitFactor; tempD goes to the owner's right-hand
    // side and -tempD to the neighbour's through AELLDtemp (owner/neighbour
    // slot maps), whose rows are then summed into SuD, SvD, SwD (added to).
    // Launches: 1 + 3 x 3 kernels over faces/rows; reads about 30 doubles per
    // face and component. AELLDtemp must hold 0 at every position the maps do
    // not write (it is not cleared here). Maps, indices and the gradients'
    // lengths (they are read at E) are not validated. Messages:
    // "Calc_InnerFluxUVW_aEaW failed", "Calc_InnerFluxUVW_SourceTerm_Su/Sv/Sw
    // failed", "Calc_InnerFluxUVW_SourceTerm failed",
    // "Calc_InnerFluxUVW_UpdateSourceTerm failed". Rows 0 .. nCells-1 are updated.
    int Calc_InnerFluxUVW(int nFaces, int nCells, int new_nnu, int NColumnPerRow, double nonOrthLimitFactor,
                          double gamma, int* ijPD, int* ijED, double* leD, double* du_dxD, double* dv_dxD,
                          double* dw_dxD, double* du_dyD, double* dv_dyD, double* dw_dyD, double* du_dzD,
                          double* dv_dzD, double* dw_dzD, double* xcD, double* ycD, double* zcD, double* uD,
                          double* vD, double* wD, double* visD, double* sxD, double* syD, double* szD, double* mfeD,
                          double* aED, double* aWD, double* SuD, double* SvD, double* SwD, double* tempD,
                          int* MapFace2CellPxD, int* MapFace2CellPyD, int* MapFace2CellExD, int* MapFace2CellEyD,
                          double* AELLDtemp, int faceBlocks, int cellBlocks);
    // As Calc_InnerFluxUVW, but the row sums go only to the nRows rows listed
    // in Map2CellPBD (distinct cells, not validated); the update failure reads
    // "Calc_InnerFluxUVW_UpdateSourceTerm_Opt failed".
    int Calc_InnerFluxUVW_Opt(int nFaces, int nRows, int new_nnu, int NColumnPerRow, double nonOrthLimitFactor,
                              double gamma, int* ijPD, int* ijED, double* leD, double* du_dxD, double* dv_dxD,
                              double* dw_dxD, double* du_dyD, double* dv_dyD, double* dw_dyD, double* du_dzD,
                              double* dv_dzD, double* dw_dzD, double* xcD, double* ycD, double* zcD, double* uD,
                              double* vD, double* wD, double* visD, double* sxD, double* syD, double* szD,
                              double* mfeD, double* aED, double* aWD, double* SuD, double* SvD, double* SwD,
                              double* tempD, int* MapFace2CellPxD, int* MapFace2CellPyD, int* MapFace2CellExD,
                              int* MapFace2CellEyD, double* AELLDtemp, int faceBlocks, int cellBlocks,
                              int* Map2CellPBD);
    // As Calc_InnerFluxUVW_Opt with every interpolation weight equal to 1
    // (face values taken at E).
    int Calc_InnerFluxUVW_Opt_ONE(int nFaces, int nRows, int new_nnu, int NColumnPerRow, double nonOrthLimitFactor,
                                  double gamma, int* ijPD, int* ijED, double* du_dxD, double* dv_dxD,
                                  double* dw_dxD, double* du_dyD, double* dv_dyD, double* dw_dyD, double* du_dzD,
                                  double* dv_dzD, double* dw_dzD, double* xcD, double* ycD, double* zcD,
                                  double* uD, double* vD, double* wD, double* visD, double* sxD, double* syD,
                                  double* szD, double* mfeD, double* aED, double* aWD, double* SuD, double* SvD,
                                  double* SwD, double* tempD, int* MapFace2CellPxD, int* MapFace2CellPyD,
                                  int* MapFace2CellExD, int* MapFace2CellEyD, double* AELLDtemp, int faceBlocks,
                                  int cellBlocks, int* Map2CellPBD);
    // Partition-interface faces (P local, E the neighbour partition's copy):
    // aED only ("Calc_InnerFluxUVW_aE failed"); sources as
    // Calc_InnerFluxUVW_Opt. The neighbour-side scratch positions must lie in
    // rows the list does not name, so they are never summed.
    int Calc_InnerFluxUVW_Par(int nFaces, int nRows, int new_nnu, int NColumnPerRow, double nonOrthLimitFactor,
                              double gamma, int* ijPD, int* ijED, double* leD, double* du_dxD, double* dv_dxD,
                              double* dw_dxD, double* du_dyD, double* dv_dyD, double* dw_dyD, double* du_dzD,
                              double* dv_dzD, double* dw_dzD, double* xcD, double* ycD, double* zcD, double* uD,
                              double* vD, double* wD, double* visD, double* sxD, double* syD, double* szD,
                              double* mfeD, double* aED, double* SuD, double* SvD, double* SwD, double* tempD,
                              int* MapFace2CellPxD, int* MapFace2CellPyD, int* MapFace2CellExD,
                              int* MapFace2CellEyD, double* AELLDtemp, int faceBlocks, int cellBlocks,
                              int* Map2CellPBD);

    // ---- Momentum: face mass fluxes (one launch each) ----

    // mfeD = (VFeD*denl + (1-VFeD)*deng)*MassFluxD per face. Reports
    // "Calc_mfeD failed".
    int Calc_mfeD(int nFaces, double denl, double deng, double* VFeD, double* MassFluxD, double* mfeD, int blocks);
    // Partition faces: alpha = (1-w)VolFD[P] + w VolFD[E] with w = leParD[f];
    // mfeD = (alpha*denl + (1-alpha)*deng)*MassFluxParD. Reports
    // "Calc_SC_mfeD_Par failed".
    int Calc_SC_mfeD_Par(int nFaces, double denl, double deng, int* ijCVPParD, int* ijCVEParD, double* leParD,
                         double* VolFD, double* MassFluxParD, double* mfeD, int blocks);
    // mfeInletD[k] = denD[ijInletD[k]]*MassFluxInletD[k], the density at the
    // boundary slot. Reports "Calc_InletBoundary_mfeD failed".
    int Calc_InletBoundary_mfeD(int nFaces, int* ijInletD, double* denD, double* MassFluxInletD, double* mfeInletD,
                                int blocks);

    // ---- Momentum: cell sources (one launch each; added to) ----

    // S{u,v,w} += volumeD*denD*Grav{X,Y,Z}. Reports
    // "Calc_GravityForceContribution failed".
    int Calc_GravityForceContribution(int nCells, double GravX, double GravY, double GravZ, double* SuD, double* SvD,
                                      double* SwD, double* volumeD, double* denD, int blocks);
    // S{u,v,w} -= volumeD*dp_d{x,y,z}D. Reports
    // "Calc_PressureSourceContribution failed".
    int Calc_PressureSourceContribution(int nCells, double* volumeD, double* dp_dxD, double* dp_dyD, double* dp_dzD,
                                        double* SuD, double* SvD, double* SwD, int blocks);
    // Time term with a = denD*volumeD/(dt*dtNor) and B = BlendTime (0 implicit
    // Euler, 1 three-level backward): Su += a((1+B)u0 - (B/2)u00) (v, w
    // alike), APvD and APRD += a(1 + B/2). dt*dtNor = 0 is not guarded.
    // Reports "Calc_UnsteadyTermContribution failed".
    int Calc_UnsteadyTermContribution(int nCells, double dt, double dtNor, double BlendTime, double* denD,
                                      double* volumeD, double* u0D, double* u00D, double* v0D, double* v00D,
                                      double* w0D, double* w00D, double* SuD, double* SvD, double* SwD,
                                      double* APvD, double* APRD, int blocks);
    // The same a(1 + B/2) added to the diagonal AELLD[c] (column 0). Reports
    // "Kernel_Calc_2ndImplicitEulerMethodAi failed".
    int Calc_2ndImplicitEulerMethodAi(int nCells, double dt, double dtNor, double BlendTime, double* denD,
                                      double* volumeD, double* AELLD, int blocks);

    // ---- Momentum: boundary conditions ----
    //
    // List entry k has a boundary slot (ijWallD, ijInOutletD, ijSymmD), the
    // adjacent cell (..CVD), and the per-entry arrays CBD (boundary
    // coefficient, off-diagonal sign), coefD, Surf_DistWallD, FCRIMatchD
    // (1 = vent, 0 = closed wall). The accumulating operations collect into
    // AELLDtemp at the list's owner-side slot map and sum the nRows rows of
    // Map2CellPD (distinct cells); positions the map does not write must
    // hold 0. Indices and maps are not validated.

    // FCRIMatchD[k] = VolFD[ijWallD[k]] < FCRI ? 1 : 0. Reports
    // "Calc_UpdateFCRIMatch failed".
    int Calc_UpdateFCRIMatch(int nFaces, int* ijWallD, double* VolFD, double FCRI, int* FCRIMatchD, int blocks);
    // coefD[k] = visD[b]*Surf_DistWallD[k] and the slot velocity times m
    // (b = ijWallD[k], m = FCRIMatchD[k]): closed walls get zero velocity.
    // Reports "Calc_WallBoundary_UpdateUVW_coef failed".
    int Calc_WallBoundary_UpdateUVW_coef(int nFaces, int* ijWallD, int* FCRIMatchD, double* Surf_DistWallD,
                                         double* visD, double* coefD, double* uD, double* vD, double* wD,
                                         int blocks);
    // Wall terms: tempD = (m=0 ? coef : 0) - m CB, temp{x,y,z}D = the same
    // times the slot velocity component; tempD is added to APvD and APRD,
    // the components to SuD, SvD, SwD. The int* argument is not read. 1 + 4
    // collects + 5 updates. Messages "Calc_WallBoundary_SourceTerm failed",
    // "..._SourceTerm_APvAPR failed", "..._SourceTerm_SuSvSw failed",
    // "Calc_WallBoundary_SourceTermUpdate_Opt failed".
    int Calc_WallBoundary_SourceTerm(int nFaces, int nRows, int new_nnu, int NColumnPerRow, int* unused,
                                     int* ijWallD, int* FCRIMatchD, double* CBD, double* coefD, double* uD,
                                     double* vD, double* wD, double* APvD, double* APRD, double* SuD, double* SvD,
                                     double* SwD, int* MapFace2CellPxD, int* MapFace2CellPyD, double* tempD,
                                     double* tempxD, double* tempyD, double* tempzD, double* AELLDtemp,
                                     int* Map2CellPD, int faceBlocks, int rowBlocks);
    // Inlet/outlet terms: -CBD added to APvD and APRD, -CBD*phi(slot) to
    // SuD, SvD, SwD for phi = u, v, w. The int* argument is not read.
    // Messages "Calc_InOutletBoundary_SourceTerm_APvAPR failed",
    // "..._SourceTerm_SuSvSw failed", "..._SourceTermUpdate_Opt failed".
    int Calc_InOutletBoundary_SourceTerm(int nFaces, int nRows, int new_nnu, int NColumnPerRow, int* unused,
                                         int* ijInOutletD, double* CBD, double* uD, double* vD, double* wD,
                                         double* APvD, double* APRD, double* SuD, double* SvD, double* SwD,
                                         int* MapFace2CellPxD, int* MapFace2CellPyD, double* AELLDtemp,
                                         int* Map2CellPD, int faceBlocks, int rowBlocks);
    // Copies the cell velocity into each symmetry slot (the normal component
    // is removed after the correction, Calc_UpdateVelocitySymmetryBoundary).
    // Reports "Calc_SymmetryBoundary_UpdateUVW failed".
    int Calc_SymmetryBoundary_UpdateUVW(int nFaces, int* ijSymmCVD, int* ijSymmD, double* uD, double* vD,
                                        double* wD, int blocks);
    // Vent slots (m = 1) take the cell velocity, closed walls keep theirs.
    // Reports "Calc_WallBoundary_UpdateUVW failed".
    int Calc_WallBoundary_UpdateUVW(int nFaces, int* ijWallCVD, int* ijWallD, int* FCRIMatchD, double* uD,
                                    double* vD, double* wD, int blocks);
    // Direct diagonal path: -CBD added to the diagonal of the listed rows of
    // AELLD. Messages "CalcUVW_InOutletAi failed", "..._Update_Opt failed".
    int CalcUVW_InOutletAi(int nFaces, int nRows, int new_nnu, int NColumnPerRow, int* MapFace2CellPxD,
                           int* MapFace2CellPyD, double* CBD, double* AELLDtemp, double* AELLD, int* Map2CellPD,
                           int faceBlocks, int rowBlocks);
    // Direct diagonal path: (m=0 ? coefD : 0) - m CBD added to the diagonal.
    // Messages "CalcUVW_WallAi failed", "CalcUVW_WallAi_Update_Opt failed".
    int CalcUVW_WallAi(int nFaces, int nRows, int new_nnu, int NColumnPerRow, int* MapFace2CellPxD,
                       int* MapFace2CellPyD, int* FCRIMatchD, double* CBD, double* coefD, double* AELLDtemp,
                       double* AELLD, int* Map2CellPD, int faceBlocks, int rowBlocks);

    // ---- Momentum: final coefficients, valve gates, SIMPLEC factor ----

    // Per row c < nnu, one component: s = sum of AELLD columns 1.. in order,
    // AELLD(c,0) = (AD[c] - s)/relax (set), SfiD[c] += (1-relax)AELLD(c,0)
    // fiD[c]. relax in (0, 1] is not validated. Reports
    // "Calc_FinalCoeffRHS_fi failed".
    int Calc_FinalCoeffRHS_Sfi(int nnu, int new_nnu, int NColumnPerRow, double relax, double* fiD, double* AELLD,
                               double* AD, double* SfiD, int blocks);
    // Explicit (Jacobi) update: fiD[c] = ((SfiD - s) + g)/a - g/a with s the
    // neighbour sum over columns whose indexELLD is not -1, g =
    // dp_d_D*volumeD and a = AELLD(c,0) + 1e-30. Neighbours are read as they
    // were before the call (the new values pass through a work array of nnu
    // doubles allocated and freed here; a failed allocation is reported by
    // the memory reporter and its code returned, fiD untouched). Reports
    // "Calc_FinalCoeffRHS_fi failed".
    int Calc_FinalCoeffRHS_fi(int nnu, int new_nnu, int NColumnPerRow, int* indexELLD, double* AELLD, double* SfiD,
                              double* dp_d_D, double* volumeD, double* fiD, int blocks);
    // AELLD[i] *= AiModifiedD[i] on the diagonal. Reports
    // "Calc_ModAi4ValveGate failed".
    int Calc_ModAi4ValveGate(int nCells, int* AiModifiedD, double* AELLD, int blocks);
    // APRD[i] = 1/(AELLD[i] + 1e-30). Reports "Calc_ModAi4ValveGate_APR failed".
    int Calc_ModAi4ValveGate_APR(int nCells, double* APRD, double* AELLD, int blocks);
    // APRD = APRD/(APRD*s + 1 + 1e-30), s the off-diagonal sum of the row:
    // with APRD = 1/AP this is the SIMPLEC factor 1/(AP - sum|a_nb|).
    // Reports "Calc_APR_SIMPLEC failed".
    int Calc_APR_SIMPLEC(int nnu, int new_nnu, int NColumnPerRow, double* AELLD, double* APRD, int blocks);

    // ---- Momentum: uniform inlet velocity (multi-level reductions) ----
    //
    // `blocks` first-level blocks of 256 entries, then the collecting passes
    // of the level table for the inlet count (nLevels, count, offset, total,
    // size) over buffers of `total` doubles, then blocking copies. A failed
    // first level is reported; the rest still runs. Returns the first-level
    // status. The table must belong to the inlet count (not validated).

    // Total inlet area, the sum of |S|. Reports
    // "Calc_GetInVel_TotalInletArea failed".
    int Calc_GetInVel_TotalInletArea(int nFaces, double* ijInletSxD, double* ijInletSyD, double* ijInletSzD,
                                     double* buffer, int blocks, int nLevels, const int* count, const int* offset,
                                     int total, const int* size, double& TotalInletArea);
    // Sets every inlet slot velocity to -q S, q = TotalMassInletAvg/|S|^2,
    // and MassFluxInletD = u.S (= -TotalMassInletAvg on every face); returns
    // TotalMomentum = sum |F| denl |u|, VelNorm = sum |u| and
    // EstTotalVolumeInlet = sum -F. A zero-area face gives non-finite
    // values (not guarded). Reports
    // "Calc_GetInVel_UVW_TotalMomentum_VelNorm failed".
    int Calc_GetInVel_UVW_TotalMomentum_VelNorm(int nFaces, double denl, double TotalMassInletAvg, int* ijInletD,
                                                double* ijInletSxD, double* ijInletSyD, double* ijInletSzD,
                                                double* MassFluxInletD, double* uD, double* vD, double* wD,
                                                double* momentumBuffer, double* velNormBuffer, double* volumeBuffer,
                                                int blocks, int nLevels, const int* count, const int* offset,
                                                int total, const int* size, double& TotalMomentum, double& VelNorm,
                                                double& EstTotalVolumeInlet);

    // ---- Pressure correction: face fluxes and coefficients ----
    //
    // Interior face f (P = ijPD, E = ijED, w = leD, S, d): face velocity
    // per component = median(phi(E), w phi(E) + (1-w) phi(P), phi(P)),
    // U = u.S; A = APRD[P] + APRD[E]; dp* = (p(E) - p(P)) - mean cell
    // gradient . d; c = |S||d|/(S.d + 1e-30). IsFaceMassFluxStab 0:
    // a = -A|S|^2/2, mfeD = U + a dp*; 3: a = -c A|S|^2/2, mfeD = U + a dp*;
    // other: a = -A|S|^2/2, mfeD = U + a c|S|/(|d|+1e-30) dp*. aED = aWD = a.
    // The nine arrays after leD are not read. One launch; reads about 40
    // doubles per face. Reports "Calc_InnerFluxPP_aEaW failed".
    int Calc_InnerFluxPP(int nFaces, int* ijPD, int* ijED, double* leD, double* unused1, double* unused2,
                         double* unused3, double* unused4, double* unused5, double* unused6, double* unused7,
                         double* unused8, double* unused9, double* dp_dxD, double* dp_dyD, double* dp_dzD,
                         double* xcD, double* ycD, double* zcD, double* uD, double* vD, double* wD, double* pD,
                         double* APRD, double* sxD, double* syD, double* szD, double* mfeD, double* aED, double* aWD,
                         int IsFaceMassFluxStab, int faceBlocks);
    // Partition-interface faces: as Calc_InnerFluxPP, aED only. Reports
    // "Calc_InnerFluxPP_aE failed".
    int Calc_InnerFluxPP_Par(int nFaces, int* ijPD, int* ijED, double* leD, double* unused1, double* unused2,
                             double* unused3, double* unused4, double* unused5, double* unused6, double* unused7,
                             double* unused8, double* unused9, double* dp_dxD, double* dp_dyD, double* dp_dzD,
                             double* xcD, double* ycD, double* zcD, double* uD, double* vD, double* wD, double* pD,
                             double* APRD, double* sxD, double* syD, double* szD, double* mfeD, double* aED,
                             int IsFaceMassFluxStab, int faceBlocks);
    // Net inflow of every cell from the interior fluxes: the owner receives
    // -MassFluxD, the neighbour +MassFluxD, through AELLDtemp; the row sums
    // of rows 0 .. nCells-1 are added to SourceD. Messages
    // "Calc_InnerFluxPP_UpdateSourceTerm_PE failed",
    // "Calc_InnerFluxPP_UpdateSourceTerm_Update failed".
    int Calc_InnerFluxPP_UpdateSourceTerm(int nFaces, int nCells, int new_nnu, int NColumnPerRow,
                                          int* MapFace2CellPxD, int* MapFace2CellPyD, int* MapFace2CellExD,
                                          int* MapFace2CellEyD, double* MassFluxD, double* AELLDtemp,
                                          double* SourceD, int faceBlocks, int cellBlocks);
    // Inlet in velocity control: -MassFluxInletD at the owner, summed into
    // SourceD over the nRows rows of Map2CellPD. Messages
    // "Calc_InnerFluxPP_Inlet_STATUS_VELY_CONTROL failed", "..._Update_Opt failed".
    int Calc_InnerFluxPP_Inlet_STATUS_VELY_CONTROL(int nFaces, int nRows, int new_nnu, int NColumnPerRow,
                                                   int* MapFace2CellPxD, int* MapFace2CellPyD,
                                                   double* MassFluxInletD, double* AELLDtemp, double* SourceD,
                                                   int* Map2CellPD, int faceBlocks, int rowBlocks);
    // Inlet in pressure control (ijPD the inlet cells, ijED their slots,
    // S outward, d = slot - cell centroid): p(slot) = SpruePress*1e7,
    // pp(slot) = 0; a = -V APR c|S|/(|d|+1e-30) (IsFaceMassFluxStab != 0) or
    // -APR|S|^2; aED[k] = a; mfeD[k] = u(P).S + a((p(slot)-p(P)) -
    // grad p(P).d); the slot takes the cell velocity; -mfeD is summed into
    // SourceD over Map2CellPD. Messages "Calc_InnerFluxPP_InletUpdateP_PP
    // failed", "Calc_InnerFluxPP_BoundFluxMass_aEmfe failed",
    // "Calc_InnerFluxPP_InletOutlet_Su failed", "..._Su_Update failed".
    int Calc_InnerFluxPP_Inlet_STATUS_PRES_CONTROL(int nFaces, int nRows, int new_nnu, int NColumnPerRow,
                                                   int IsFaceMassFluxStab, double SpruePress, int* ijPD, int* ijED,
                                                   double* uD, double* vD, double* wD, double* xcD, double* ycD,
                                                   double* zcD, double* dp_dxD, double* dp_dyD, double* dp_dzD,
                                                   double* volumeD, double* APRD, double* mfeD, double* sxD,
                                                   double* syD, double* szD, double* pD, double* ppD, double* aED,
                                                   double* SourceD, int* MapFace2CellPxD, int* MapFace2CellPyD,
                                                   double* AELLDtemp, int* Map2CellPD, int faceBlocks, int rowBlocks);
    // Wall vents (m = FCRIMatchD[k]): as the pressure-controlled inlet with
    // the slot velocity, aED = m a + (m=0 ? aED : 0), mfeD likewise (closed
    // walls keep their entries), -m mfeD summed into SourceD. Messages
    // "Calc_InnerFluxPP_BoundFluxMassAlt_aEmfe failed",
    // "Calc_InnerFluxPP_Wall_Su failed", "Calc_InnerFluxPP_Wall_Su_Update_Opt failed".
    int Calc_InnerFluxPP_WallBoundary_BoundFluxMassAlt(int nFaces, int nRows, int new_nnu, int NColumnPerRow,
                                                       int IsFaceMassFluxStab, int* ijPD, int* ijED,
                                                       int* FCRIMatchD, double* uD, double* vD, double* wD,
                                                       double* xcD, double* ycD, double* zcD, double* dp_dxD,
                                                       double* dp_dyD, double* dp_dzD, double* sxD, double* syD,
                                                       double* szD, double* volumeD, double* APRD, double* pD,
                                                       double* aED, double* mfeD, double* SourceD,
                                                       int* MapFace2CellPxD, int* MapFace2CellPyD, double* AELLDtemp,
                                                       int* Map2CellPD, int faceBlocks, int rowBlocks);
    // -CBD added to the diagonal of the listed rows. Messages
    // "Calc_InnerFluxPP_InletAi failed", "..._Update_Opt failed".
    int Calc_InnerFluxPP_InletAi(int nFaces, int nRows, int new_nnu, int NColumnPerRow, int* MapFace2CellPxD,
                                 int* MapFace2CellPyD, double* CBD, double* AELLDtemp, double* AELLD, int* Map2CellPD,
                                 int faceBlocks, int rowBlocks);
    // -m CBD added to the diagonal of the listed rows. Messages
    // "CalcPP_WallAi failed", "CalcPP_WallAi_Update_Opt failed".
    int CalcPP_WallAi(int nFaces, int nRows, int new_nnu, int NColumnPerRow, int* MapFace2CellPxD,
                      int* MapFace2CellPyD, int* FCRIMatchD, double* CBD, double* AELLDtemp, double* AELLD,
                      int* Map2CellPD, int faceBlocks, int rowBlocks);

    // ---- Pressure correction: final diagonal and sums ----
    //
    // Reductions: first level over the count (its block count is size[1] of
    // the level table, which must belong to that count, n >= 1), collecting
    // passes of 256 entries, blocking copy of the total. A failed first level
    // is reported; the rest still runs; the first-level status is returned.

    // Per row i < NInnerCell: AELLD(i,0) = (AELLD(i,0) - sum of columns
    // 1..)/rr, SuD[i] += (1-rr) AELLD(i,0) ppD[i]; returns the sum of SuD.
    // Reports "CalcPP_AiSuMassSum failed".
    int Calc_AiSuMassSum(int NInnerCell, int new_nnu, int NColumnPerRow, double rr, double* ppD, double* AELLD,
                         double* SuD, double& sum, double* buffer, int nLevels, const int* count, const int* offset,
                         int total, const int* size);
    // ppD = 0 (the solver's initial guess) and the total imbalance, the sum
    // of SuD. Reports "Calc_CheckSum failed".
    int Calc_CheckSum(int nCells, double* ppD, double* SuD, double& sum, double* buffer, int nLevels,
                      const int* count, const int* offset, int total, const int* size);

    // ---- Pressure correction: boundary values of p or pp (one launch) ----

    // Closed wall: the cell's value; vent (m = 1): 0. Reports
    // "Calc_UpdateBoundaryPP_Wall failed".
    int Calc_UpdateBoundaryPP_Wall(int nFaces, int* ijWallD, int* ijWallCVD, int* FCRIMatchD, double* fiD,
                                   int blocks);
    // The cell's value. Reports "Calc_UpdateBoundaryPP_Inlet_STATUS_VELY_CONTROL failed".
    int Calc_UpdateBoundaryPP_Inlet_STATUS_VELY_CONTROL(int nFaces, int* ijInletD, int* ijInletCVD, double* fiD,
                                                        int blocks);
    // 0. Reports "Calc_UpdateBoundaryPP_Inlet_STATUS_PRES_CONTROL failed".
    int Calc_UpdateBoundaryPP_Inlet_STATUS_PRES_CONTROL(int nFaces, int* ijInletD, double* fiD, int blocks);
    // The cell's value. Reports "Calc_UpdateBoundaryPP_Outlet failed".
    int Calc_UpdateBoundaryPP_Outlet(int nFaces, int* ijOutletD, int* ijOutletCVD, double* fiD, int blocks);
    // The cell's value. Reports "Calc_UpdateBoundaryPP_Symm failed".
    int Calc_UpdateBoundaryPP_Symm(int nFaces, int* ijSymmD, int* ijSymmCVD, double* fiD, int blocks);

    // ---- Pressure correction: corrections after the solve ----

    // Per cell, dp_d*D the gradient of pp: unless iflag = 2, pD += relax(ppD -
    // ppo); unless iflag = 1, (u,v,w) -= volumeD APRD grad pp and SuD = 0.
    // Reports "Calc_CorrectPressureVelocityCV failed".
    int Calc_CorrectPressureVelocityCV(int nCells, double relax, double ppo, int iflag, double* volumeD,
                                       double* APRD, double* ppD, double* pD, double* dp_dxD, double* dp_dyD,
                                       double* dp_dzD, double* uD, double* vD, double* wD, double* SuD, int blocks);
    // MassFluxD[f] += AELLD(P, Py[f]) (pp(E) - pp(P)), P = Px[f], E = Ex[f]:
    // the coefficient read at the face's owner-side matrix position
    // (MapFace2CellEyD is not read). Reports "CalcPP_CorrectMassFlux failed".
    int CalcPP_CorrectMassFlux(int nFaces, int new_nnu, int* MapFace2CellPxD, int* MapFace2CellPyD,
                               int* MapFace2CellExD, int* MapFace2CellEyD, double* AELLD, double* ppD,
                               double* MassFluxD, int blocks);
    // Non-orthogonal flux correction with g the mean pp gradient of P and E:
    // t = -(APRD[P]+APRD[E])/2 ((S.d)S - |S|^2 d).g; MassFluxD += t,
    // tempD = t; -t to the owner and +t to the neighbour, row sums added to
    // SourceD (rows 0 .. nCells-1). Messages "Calc_InnerFluxPPCorr failed",
    // "Calc_InnerFluxPPCorr_PE failed", "Calc_InnerFluxPPCorr_Update failed".
    int Calc_InnerFluxPPCorr(int nFaces, int nCells, int new_nnu, int NColumnPerRow, int* ijPD, int* ijED,
                             double* SxD, double* SyD, double* SzD, double* xcD, double* ycD, double* zcD,
                             double* APRD, double* dp_dxD, double* dp_dyD, double* dp_dzD, double* MassFluxD,
                             double* SourceD, int* MapFace2CellPxD, int* MapFace2CellPyD, int* MapFace2CellExD,
                             int* MapFace2CellEyD, double* AELLDtemp, double* tempD, int faceBlocks, int cellBlocks);
    // Symmetry slot velocity = cell velocity minus its normal component
    // (a zero-area face gives NaN, not guarded). Reports
    // "Calc_UpdateVelocitySymmetryBoundary failed".
    int Calc_UpdateVelocitySymmetryBoundary(int nFaces, int* ijSymmCVD, int* ijSymmD, double* ijSymmSxD,
                                            double* ijSymmSyD, double* ijSymmSzD, double* uD, double* vD,
                                            double* wD, int blocks);
    // Velocity control: MassFluxInletD = u(slot).S; returns the inflow, the
    // sum of -MassFluxInletD. Reports
    // "Calc_CorrectVelocityInlet_STATUS_VELY_CONTROL failed".
    int Calc_CorrectVelocityInlet_STATUS_VELY_CONTROL(int nFaces, int* ijInletD, double* uD, double* vD, double* wD,
                                                      double* ijInletSxD, double* ijInletSyD, double* ijInletSzD,
                                                      double* MassFluxInletD, double& inflow, double* buffer,
                                                      int nLevels, const int* count, const int* offset, int total,
                                                      const int* size);
    // Pressure control: f = V(P) APR(P)/sqrt(|S|^2|d|^2), c = f (pp(slot) -
    // pp(P)); slot velocity -= c S, MassFluxInletD -= c|S|^2; returns the
    // inflow (sum of -MassFluxInletD) and the sum of the new slot speeds.
    // Reports "Calc_CorrectVelocityInlet_STATUS_PRES_CONTROL failed".
    int Calc_CorrectVelocityInlet_STATUS_PRES_CONTROL(int nFaces, int* ijInletCVD, int* ijInletD, double* xcD,
                                                      double* ycD, double* zcD, double* uD, double* vD, double* wD,
                                                      double* ijInletSxD, double* ijInletSyD, double* ijInletSzD,
                                                      double* volumeD, double* APRD, double* ppD,
                                                      double* MassFluxInletD, double& inflow, double& speedSum,
                                                      double* inflowBuffer, double* speedBuffer, int nLevels,
                                                      const int* count, const int* offset, int total,
                                                      const int* size);
    // Vents: as the pressure-controlled inlet with c times m on
    // MassFluxWallD; returns the vent outflow, the sum of m MassFluxWallD.
    // Reports "Calc_CorrectVelocityWallOutlet failed".
    int Calc_CorrectVelocityWallOutlet(int nFaces, int* ijWallCVD, int* ijWallD, int* FCRIMatchD, double* xcD,
                                       double* ycD, double* zcD, double* uD, double* vD, double* wD,
                                       double* ijWallSxD, double* ijWallSyD, double* ijWallSzD, double* volumeD,
                                       double* APRD, double* ppD, double* MassFluxWallD, double& ventOutflow,
                                       double* buffer, int nLevels, const int* count, const int* offset, int total,
                                       const int* size);
    // @FLOW-END

    // @FLOWE-MOMENTUM-BEGIN
    // ---------------------------------------------------------------------
    // Extended-flow momentum: assembly (faces, cell sources, final
    // coefficients) and boundaries (inlets, walls, vents, moving walls)
    // ---------------------------------------------------------------------
    //
    // The scheme of the basic momentum operations above (one coefficient
    // set for u, v, w; face sources collected into SuD, SvD, SwD through
    // AELLDtemp; APvD/APRD accumulators; under-relaxed final diagonal;
    // SIMPLEC factor) with these differences: the deferred correction is
    // limited together with the explicit diffusion, gravity is scaled by the
    // local density, a surface-tension force is available, the time term is
    // one operation, and the explicit update reads the previous iterate from
    // its own array. Right-hand sides and accumulators are only added to.
    // AELLDtemp must hold 0 wherever the slot maps of the call do not write
    // (it is not cleared here). Indices, maps, row lists and array lengths
    // are not validated.

    // ---- Extended-flow momentum: interior and partition faces ----

    // mfeD[f] = rho_f MassFluxD[f], rho_f = (denD[P] + denD[E])/2 when
    // gIsWeightedFlowRate = 1 (P = ijCVPD[f], E = ijCVED[f]), else
    // VFeD[f] denl + (1 - VFeD[f]) deng. Reports
    // "Calc_FlowE_InnerFluxUVW_mfe failed".
    int Calc_FlowE_InnerFluxUVW_mfe(int nFaces, int gIsWeightedFlowRate, double deng, double denl, int* ijCVPD,
                                    int* ijCVED, double* denD, double* VFeD, double* MassFluxD, double* mfeD,
                                    int blocks);
    // Face f (P = ijPD, E = ijED, w = leD, S, d = centroid(E) - centroid(P),
    // m = mfeD, Ds = |S|^2/(S.d + 1e-30), mu_f interpolated from visD):
    // aED = min(m,0) - mu_f Ds, aWD = -max(m,0) - mu_f Ds. Then for u, v, w
    // in turn: X = (G.S - Ds G.d) + T.S (G the component's interpolated
    // gradient, T the matching row of the transposed one), C = max(m,0)
    // phi(P) + min(m,0) phi(E) - m phi_f, Y = X + gamma C/mu_f, lambda =
    // clip((psi Ds (phi(E) - phi(P)) + 1e-30)/((1-psi) Y + 1e-30), 0, 1)
    // with psi = nonOrthLimitFactor, tempD = mu_f lambda Y: the limiter
    // scales the deferred correction too. tempD goes to the owner's row and
    // -tempD to the neighbour's; rows 0 .. nRows-1 are added to SuD, SvD,
    // SwD. A zero mu_f with gamma != 0 gives a non-finite source (not
    // guarded). Launches 1 + 3 x 3 kernels; reads about 30 doubles per face
    // and component. Messages "Calc_FlowE_InnerFluxUVW_aEaW failed",
    // "Calc_FlowE_InnerFluxUVW_SourceTerm_Su/Sv/Sw failed",
    // "Calc_FlowE_InnerFluxUVW_SourceTerm failed",
    // "Calc_FlowE_InnerFluxUVW_UpdateSourceTerm failed".
    int Calc_FlowE_InnerFluxUVW(int nFaces, int nRows, int new_nnu, int NColumnPerRow, double nonOrthLimitFactor,
                                double gamma, int* ijPD, int* ijED, double* leD, double* du_dxD, double* dv_dxD,
                                double* dw_dxD, double* du_dyD, double* dv_dyD, double* dw_dyD, double* du_dzD,
                                double* dv_dzD, double* dw_dzD, double* xcD, double* ycD, double* zcD, double* uD,
                                double* vD, double* wD, double* visD, double* sxD, double* syD, double* szD,
                                double* mfeD, double* aED, double* aWD, double* SuD, double* SvD, double* SwD,
                                double* tempD, int* MapFace2CellPxD, int* MapFace2CellPyD, int* MapFace2CellExD,
                                int* MapFace2CellEyD, double* AELLDtemp, int faceBlocks, int cellBlocks);
    // The same on the partition-interface faces (P = ijPParD, the local
    // cell; E = ijEParD, the neighbour's local copy, refreshed by the
    // caller; w = leParD): aED only, and the rows of Map2CellPED (nRows of
    // them) are updated, so the neighbour-side positions are never summed.
    // Messages as above with "Calc_FlowE_InnerFluxUVW_aE_Par failed" and
    // "Calc_FlowE_InnerFluxUVW_UpdateSourceTerm_Par failed".
    int Calc_FlowE_InnerFluxUVWPar(int nFaces, int nRows, int new_nnu, int NColumnPerRow, double nonOrthLimitFactor,
                                   double gamma, int* ijPParD, int* ijEParD, double* leParD, double* du_dxD,
                                   double* dv_dxD, double* dw_dxD, double* du_dyD, double* dv_dyD, double* dw_dyD,
                                   double* du_dzD, double* dv_dzD, double* dw_dzD, double* xcD, double* ycD,
                                   double* zcD, double* uD, double* vD, double* wD, double* visD, double* sxParD,
                                   double* syParD, double* szParD, double* mfeD, double* aED, double* SuD,
                                   double* SvD, double* SwD, double* tempD, int* ParMapFace2CellPxD,
                                   int* ParMapFace2CellPyD, int* ParMapFace2CellExD, int* ParMapFace2CellEyD,
                                   double* AELLDtemp, int faceBlocks, int cellBlocks, int* Map2CellPED);

    // ---- Extended-flow momentum: cell sources ----

    // Gravity scaled by the density: SuD += V gx rho s with s = 0.1
    // rho/(denMax + denMin), likewise v, w (a force 0.1 rho^2 V g/(denMax +
    // denMin)). denMax + denMin = 0 is not guarded. Reports
    // "Calc_FlowE_GravityForceContribution failed".
    int Calc_FlowE_GravityForceContribution(int nCells, double denMax, double denMin, double GravX, double GravY,
                                            double GravZ, double* SuD, double* SvD, double* SwD, double* volumeD,
                                            double* denD, int blocks);
    // Continuum surface force: SuD += STCoeff CurvD dVF_dxD s V with s = 2
    // rho/(denMax + denMin), likewise v, w. Reports
    // "Calc_FlowE_SurfaceTensionMethodOne failed".
    int Calc_FlowE_SurfaceTensionMethodOne(int nCells, double denMax, double denMin, double STCoeff, double* volumeD,
                                           double* CurvD, double* denD, double* dVF_dxD, double* dVF_dyD,
                                           double* dVF_dzD, double* SuD, double* SvD, double* SwD, int blocks);
    // Time term, c = rho V OneOver_dtdtNor, B = BlendTime: SuD += c((1 + B)
    // u0 - B/2 u00) (likewise v, w); APvD, APRD and the diagonal AELLD[i]
    // each += c(1 + B/2). Reports
    // "Kernel_Calc_FlowE_2ndImplicitEulerMethodAi failed".
    int Calc_FlowE_2ndImplicitEulerMethodAi(int nCells, double OneOver_dtdtNor, double BlendTime, double* denD,
                                            double* volumeD, double* u0D, double* v0D, double* w0D, double* u00D,
                                            double* v00D, double* w00D, double* AELLD, double* APvD, double* APRD,
                                            double* SuD, double* SvD, double* SwD, int blocks);

    // ---- Extended-flow momentum: final coefficients ----

    // Per row i < nnu, one component: s = sum of AELLD columns 1.. in
    // order, aP = (AiAPvAPRD[i] - s) OneOver_relax, AELLD(i,0) = aP (set),
    // SfiD[i] += (1 - relax) aP fiD[i]. relax and OneOver_relax are not
    // checked against each other. Reports
    // "Calc_FlowE_UVW_FinalCoeffRHS_AiSuSvSw failed".
    int Calc_FlowE_UVW_FinalCoeffRHS_AiSuSvSw(int nnu, int new_nnu, int NColumnPerRow, double relax,
                                              double OneOver_relax, double* fiD, double* AiAPvAPRD, double* AELLD,
                                              double* SfiD, int blocks);
    // Jacobi explicit update: fiD[i] = ((SfiD - n) + g)/a - g/a with n the
    // sum over columns whose indexELLD is not -1 of AELLD fiOldD[column],
    // g = dp_d_D volumeD and a = AELLD(i,0) + 1e-30. fiOldD must not be
    // fiD (not checked). Reports "Calc_FlowE_FinalCoeffRHS_fi failed".
    int Calc_FlowE_FinalCoeffRHS_fi(int nnu, int new_nnu, int NColumnPerRow, int* indexELLD, double* AELLD,
                                    double* SfiD, double* dp_d_D, double* volumeD, double* fiOldD, double* fiD,
                                    int blocks);
    // APRD[i] = 1/(AELLD[i] + 1e-30). Reports
    // "Calc_FlowE_FinalCoeffRHS_UpdateAPR failed".
    int Calc_FlowE_FinalCoeffRHS_UpdateAPR(int nnu, double* AELLD, double* APRD, int blocks);
    // APRD = APRD/(APRD s + 1 + 1e-30), s the off-diagonal sum of the row:
    // the SIMPLEC factor. Reports
    // "Calc_FlowE_FinalCoeffRHS_UpdateAPR_SIMPLEC failed".
    int Calc_FlowE_FinalCoeffRHS_UpdateAPR_SIMPLEC(int nnu, int new_nnu, int NColumnPerRow, double* AELLD,
                                                   double* APRD, int blocks);

    // ---- Extended-flow momentum: inlet faces ----
    //
    // Inlet list entry i: cell ijInletCVD[i], boundary slot ijInletD[i],
    // outward area vector ijInletS{x,y,z}D[i]. Per time step an inlet face
    // is classified: open (judge3D: active, or its slot not yet filled),
    // assembled like an interior face towards its slot with zero-gradient
    // velocity, or a wall (judge4D: inactive and filled). The flags are
    // bool arrays of the list's length.

    // mfeD[i] = denD[ijInletD[i]] MassFluxInletD[i] (density of the slot).
    // Reports "Calc_FlowE_UVW_InletBoundary_mfe failed".
    int Calc_FlowE_UVW_InletBoundary_mfe(int nFaces, int* ijInletD, double* denD, double* MassFluxInletD,
                                         double* mfeD, int blocks);
    // judge3D[i] = (gpInletbInD[i] = 1) or VolFD[slot] < FCRI; judge4D[i]
    // = not active and VolFD[slot] >= FCRI (NaN counts as filled).
    // iFAIMFluidIn, ijInletCVD and MFD are accepted and not read. Reports
    // "Calc_FlowE_UVW_InletBoundary_Judge failed".
    int Calc_FlowE_UVW_InletBoundary_Judge(int nFaces, double FCRI, int iFAIMFluidIn, int* ijInletCVD, int* ijInletD,
                                           int* gpInletbInD, double* VolFD, double* MFD, bool* judge3D,
                                           bool* judge4D, int blocks);
    // Where judge3D: the nine velocity-gradient entries of the slot take
    // the cell's values (zero gradient); elsewhere unchanged. Reports
    // "Calc_FlowE_UVW_InletBoundary_SetUVWNeumann_dd failed".
    int Calc_FlowE_UVW_InletBoundary_SetUVWNeumann_dd(int nFaces, int* ijInletCVD, int* ijInletD, bool* judge3D,
                                                      double* du_dxD, double* du_dyD, double* du_dzD, double* dv_dxD,
                                                      double* dv_dyD, double* dv_dzD, double* dw_dxD, double* dw_dyD,
                                                      double* dw_dzD, int blocks);
    // The interior coefficients of Calc_FlowE_InnerFluxUVW with weight 1
    // (mu_f = visD at the slot) on a list whose ijPD is the cell and ijED
    // the slot. le_ is accepted and not read. Reports
    // "Calc_FlowE_UVW_InletBoundary_InnerFluxUVW_aEaW failed".
    int Calc_FlowE_UVW_InletBoundary_InnerFluxUVW_aEaW(int nFaces, double le_, int* ijPD, int* ijED, double* visD,
                                                       double* sxD, double* syD, double* szD, double* xcD,
                                                       double* ycD, double* zcD, double* mfeD, double* aED,
                                                       double* aWD, int blocks);
    // The face sources of Calc_FlowE_InnerFluxUVW on the inlet list (ijPD
    // cell, ijED slot) with every interpolation weighted by le_, times 1
    // where judge3D and 0 elsewhere; collected as interior pairs and the
    // rows of Map2CellPBD (nRows of them) added to SuD, SvD, SwD. Messages
    // "Calc_FlowE_UVW_InletBoundary_InnerFluxUVW_Su/Sv/Sw failed",
    // "Calc_FlowE_InnerFluxUVW_SourceTerm failed",
    // "Calc_FlowE_UVW_InletBoundary_SetUVWNeumann_UpdateSourceTerm_Opt failed".
    int Calc_FlowE_UVW_InletBoundary_SetNeumann_InnerFluxUVW(
        int nFaces, int nRows, int new_nnu, int NColumnPerRow, double nonOrthLimitFactor, double gamma, int* ijPD,
        int* ijED, double le_, bool* judge3D, double* du_dxD, double* dv_dxD, double* dw_dxD, double* du_dyD,
        double* dv_dyD, double* dw_dyD, double* du_dzD, double* dv_dzD, double* dw_dzD, double* xcD, double* ycD,
        double* zcD, double* uD, double* vD, double* wD, double* visD, double* sxD, double* syD, double* szD,
        double* mfeD, double* SuD, double* SvD, double* SwD, double* tempD, int* MapFace2CellPxD,
        int* MapFace2CellPyD, int* MapFace2CellExD, int* MapFace2CellEyD, double* AELLDtemp, int faceBlocks,
        int cellBlocks, int* Map2CellPBD);
    // Open faces: temp1D/temp2D/temp3D = -aED times u/v/w at the slot (0
    // on other faces), each collected owner-only (list slot map) and the
    // rows of Map2CellPBD added to SuD, SvD, SwD. The int arrays marked
    // unused are not read. Messages
    // "Calc_FlowE_UVW_InletBoundary_SetUVWNeumann_SuSvSw_temp failed",
    // "Calc_FlowE_InnerFluxUVW_SourceTerm_Ponly failed",
    // "Calc_FlowE_UVW_InletBoundary_SetUVWNeumann_UpdateSourceTerm_Opt failed".
    int Calc_FlowE_UVW_InletBoundary_SetNeumann_SuSvSw(int nFaces, int nRows, int new_nnu, int NColumnPerRow,
                                                       int* unused, int* ijInletD, double* aED, bool* judge3D,
                                                       double* uD, double* vD, double* wD, double* SuD, double* SvD,
                                                       double* SwD, double* temp1D, double* temp2D, double* temp3D,
                                                       int* MapFace2CellPxD, int* MapFace2CellPyD, int* unused2,
                                                       int* unused3, double* AELLDtemp, int faceBlocks,
                                                       int cellBlocks, int* Map2CellPBD);
    // Open faces: tempD = -aED (0 elsewhere), collected owner-only and the
    // rows of Map2CellPD added to APvD, APRD and the diagonal of AELLD.
    // Messages "Calc_FlowE_UVW_InletBoundary_SetUVWNeumann_AiAPvAPR_temp
    // failed", "Calc_FlowE_InnerFluxUVW_SourceTerm_Ponly failed",
    // "Calc_FlowE_UVW_InletBoundary_SetUVWNeumann_UpdateSourceTerm_Opt
    // failed" (APvD, APRD), "Calc_FlowE_UVW_InletBoundary_AiUpdate_Opt
    // failed" (AELLD).
    int Calc_FlowE_UVW_InletBoundary_SetNeumann_APvAPRAi(int nFaces, int nRows, int new_nnu, int NColumnPerRow,
                                                         int* unused, int* unused2, double* aED, bool* judge3D,
                                                         double* APvD, double* APRD, double* AELLD, double* tempD,
                                                         int* MapFace2CellPxD, int* MapFace2CellPyD, int* unused3,
                                                         int* unused4, double* AELLDtemp, int faceBlocks,
                                                         int cellBlocks, int* Map2CellPD);
    // An inactive inlet face (gpInletbInD = 0) flagged as vent
    // (piIsOutletD > 0), while iFAIMIn = 1 or iFillType = 2: the slot takes
    // the cell's velocity and MassFluxInletD = S.u(slot); other faces are
    // unchanged. Reports "Calc_FlowE_UVW_Inlet_UNF failed".
    int Calc_FlowE_UVW_Inlet_UNF(int nFaces, int iFAIMIn, int iFillType, int* ijInletCVD, int* ijInletD,
                                 int* gpInletbInD, int* piIsOutletD, double* ijInletSxD, double* ijInletSyD,
                                 double* ijInletSzD, double* uD, double* vD, double* wD, double* MassFluxInletD,
                                 int blocks);

    // ---- Extended-flow momentum: walls, vents and moving walls ----

    // Geometry factor of a boundary face: A = |S|, n = S/(A + 1e-20),
    // surf_distwallD = A/((face centre - centroid(ijPD)).n + 1e-20).
    // Reports "Calc_FlowE_UVW_GetSurf_DistWall failed".
    int Calc_FlowE_UVW_GetSurf_DistWall(int nFaces, int* ijPD, double* sxD, double* syD, double* szD, double* f_xcD,
                                        double* f_ycD, double* f_zcD, double* xcD, double* ycD, double* zcD,
                                        double* surf_distwallD, int blocks);
    // judgeD = vent (piIsOutletD >= 1) or moving face (iICM_Status = 1,
    // VolFD[slot] > FCRI and isMoveWallD = 1); neg_judgeD = not judgeD.
    // Reports "Calc_FlowE_UVW_Wall_Judge failed".
    int Calc_FlowE_UVW_Wall_Judge(int nFaces, double FCRI, int iICM_Status, int* ijWallD, int* piIsOutletD,
                                  int* isMoveWallD, double* VolFD, bool* judgeD, bool* neg_judgeD, int blocks);
    // coefD = visD[ijWallD] Surf_DistWallD. Reports "Calc_FlowE_UVW_coef failed".
    int Calc_FlowE_UVW_coef(int nFaces, int* ijWallD, double* visD, double* Surf_DistWallD, double* coefD,
                            int blocks);
    // Every judgeD[i] = TrueOrFalse. Reports
    // "Calc_FlowE_UVW_SetJudgeTrueOrFalse failed".
    int Calc_FlowE_UVW_SetJudgeTrueOrFalse(int nFaces, bool TrueOrFalse, bool* judgeD, int blocks);
    // No-slip faces of a list (slot ijBD): where judge4D the slot velocity
    // becomes 0 and temp1D = coefD visD(slot) is collected owner-only and
    // added over the rows of Map2CellPD to APvD, APRD and the diagonal of
    // AELLD; temp2D..temp4D (all 0) go to SuD, SvD, SwD. Faces without
    // judge4D keep their slot and add nothing. coefD is multiplied by the
    // slot viscosity here: pass the geometry factor (surf_distwallD) for a
    // friction mu A/delta. Messages
    // "Calc_FlowE_UVW_SetUVWWall_uvw_temp failed",
    // "Calc_FlowE_InnerFluxUVW_SourceTerm_Ponly failed",
    // "Calc_FlowE_UVW_InletBoundary_SetUVWNeumann_UpdateSourceTerm_Opt
    // failed", "Calc_FlowE_UVW_InletBoundary_AiUpdate_Opt failed".
    int Calc_FlowE_UVW_SetUVWWall(int nFaces, int nRows, int new_nnu, int NColumnPerRow, int* ijBD, bool* judge4D,
                                  double* coefD, double* visD, double* uD, double* vD, double* wD, double* temp1D,
                                  double* temp2D, double* temp3D, double* temp4D, double* AELLD, double* APvD,
                                  double* APRD, double* SuD, double* SvD, double* SwD, double* AELLDtemp,
                                  int* MapFace2CellPxD, int* MapFace2CellPyD, int* unused, int* unused2,
                                  int* Map2CellPD, int faceBlocks, int cellBlocks);
    // Vents (piIsOutletD > 0) take the cell's velocity into the slot; then
    // F = S.u(slot) becomes MassFluxWallD for a moving face (iICM_Status =
    // 1, VolFD[slot] > FCRI, isMoveWallD = 1) or a vent; closed walls keep
    // theirs. Reports "Calc_FlowE_UVW_Wall_ICM failed".
    int Calc_FlowE_UVM_Wall_ICM(int nFaces, int iICM_Status, double FCRI, int* ijWallCVD, int* ijWallD,
                                double* ijWallSxD, double* ijWallSyD, double* ijWallSzD, double* VolFD,
                                int* piIsOutletD, int* isMoveWallD, double* MassFluxWallD, double* uD, double* vD,
                                double* wD, int blocks);

    // ---- Extended-flow utilities: smoothed volume fraction ----
    //
    // Each cell's value of SmoothVolFD (an extended array) is replaced by
    // the area-weighted mean of the face values around it: the face
    // operations add sum(face value x area) to VolF_SD and sum(area) to SD
    // (only added to: the caller clears them first), then
    // Calc_FlowE_SmoothVariable_SmoothVolF divides. The collects store the
    // same value at both positions of a face (not the +/- pair of a flux).

    // Interior faces: tempD = (w V(E) + (1-w) V(P)) InnerFaceAreaD (w =
    // leD); rows 0 .. nRows-1 of VolF_SD and SD. Messages
    // "Calc_FlowE_SmoothVariable_InnerFace failed",
    // "Calc_FlowE_SmoothVariable_InnerFace_VolF_S failed",
    // "Calc_FlowE_SmoothVariable_InnerFace_S failed",
    // "Calc_FlowE_SmoothVariable_UpdateSourceTerm failed".
    int Calc_FlowE_SmoothVariable_InnerFace(int nFaces, int nRows, int new_nnu, int NColumnPerRow, int* ijPD,
                                            int* ijED, double* leD, double* InnerFaceAreaD, double* SmoothVolFD,
                                            double* VolF_SD, double* SD, double* tempD, int* MapFace2CellPxD,
                                            int* MapFace2CellPyD, int* MapFace2CellExD, int* MapFace2CellEyD,
                                            double* AELLDtemp, int faceBlocks, int cellBlocks);
    // Inlet faces (A = |S|): temp1D = V(slot) A and temp2D = A at both
    // positions of the list's four maps, the rows of Map2CellPBD added to
    // VolF_SD, then (AELLDtemp cleared in between, new_nnu x NColumnPerRow
    // doubles) to SD. ijInletCVD is not read. Messages
    // "Calc_FlowE_SmoothVariable_Inlet failed",
    // "Calc_FlowE_SmoothVariable_Inlet_VolF_S failed",
    // "Calc_FlowE_SmoothVariable_Inlet_S failed",
    // "Calc_FlowE_SmoothVariable_UpdateSourceTerm_Opt failed".
    int Calc_FlowE_SmoothVariable_Inlet(int nFaces, int nRows, int new_nnu, int NColumnPerRow, int* ijInletCVD,
                                        int* ijInletD, double* ijInletSxD, double* ijInletSyD, double* ijInletSzD,
                                        double* SmoothVolFD, double* VolF_SD, double* SD, double* temp1D,
                                        double* temp2D, int* MapFace2CellPxD, int* MapFace2CellPyD,
                                        int* MapFace2CellExD, int* MapFace2CellEyD, double* AELLDtemp,
                                        int* Map2CellPBD, int faceBlocks, int cellBlocks);
    // Partition faces (P = ijPParD, E = ijEParD, w = leParD, area |S|): as
    // the interior faces with the partition slot maps; the rows of
    // Map2CellPED (nRows of them) are updated. Messages
    // "Calc_FlowE_SmoothVariable_InnerFacePar failed",
    // "Calc_FlowE_SmoothVariable_InnerFace_VolF_S failed",
    // "Calc_FlowE_SmoothVariable_InnerFace_S_Par failed",
    // "Calc_FlowE_SmoothVariable_UpdateSourceTermPar failed".
    int Calc_FlowE_SmoothVariable_InnerFacePar(int nFaces, int nRows, int new_nnu, int NColumnPerRow, int* ijPParD,
                                               int* ijEParD, double* leParD, double* sxParD, double* syParD,
                                               double* szParD, double* SmoothVolFD, double* VolF_SD, double* SD,
                                               double* tempD, int* ParMapFace2CellPxD, int* ParMapFace2CellPyD,
                                               int* ParMapFace2CellExD, int* ParMapFace2CellEyD, double* AELLDtemp,
                                               int faceBlocks, int cellBlocks, int* Map2CellPED);
    // SmoothVolFD[i] = VolF_SD[i]/(SD[i] + 1e-30) for the nCells cells (a
    // cell without faces gets 0). Reports
    // "Calc_FlowE_SmoothVariable_SmoothVolF failed".
    int Calc_FlowE_SmoothVariable_SmoothVolF(int nCells, double* VolF_SD, double* SD, double* SmoothVolFD, int blocks);
    // Zero gradient: each wall slot takes its cell's value. Reports
    // "Calc_FlowE_SmoothVariable_Extrapolate_Gradient failed".
    int Calc_FlowE_SmoothVariable_Extrapolate_Gradient(int nFaces, int* ijWallCVD, int* ijWallD, double* SmoothVolFD,
                                                       int blocks);
    // The same for inlet faces that are not active (gpInletbInD = 0) while
    // iFAIMIn = 1 or iFillType = 2; other inlet slots are kept. Reports
    // "Calc_FlowE_SmoothVariable_Extrapolate_Gradient_Inlet failed".
    int Calc_FlowE_SmoothVariable_Extrapolate_Gradient_Inlet(int nFaces, int iFAIMIn, int iFillType, int* ijInletCVD,
                                                             int* ijInletD, int* gpInletbInD, double* SmoothVolFD,
                                                             int blocks);

    // ---- Extended-flow utilities: partition copy lists and field range ----

    // ParD2HCopyListD[i] = fiD[ijParCVD[i]] for i < NParInterFace: the
    // values sent to the neighbour partitions. Reports
    // "fiD2ParD2HCopyListD failed".
    int Calc_fiD2ParD2HCopyListD(int NParInterFace, int* ijParCVD, double* fiD, double* ParD2HCopyListD, int blocks);
    // The same queued on `stream` (the caller synchronises it before reading
    // the list, e.g. through an asynchronous copy on the same stream).
    int Calc_fiD2ParD2HCopyListD_Stream(int NParInterFace, int* ijParCVD, double* fiD, double* ParD2HCopyListD,
                                        int blocks, cudaStream_t stream);
    // fiD[ijParD[i]] = ParH2DCopyListD[i]: the neighbours' values into their
    // halo slots; every other entry of fiD is untouched. Reports
    // "ParH2DCopyListD2fiD failed".
    int Calc_ParH2DCopyListD2fiD(int NParInterFace, int* ijParD, double* ParH2DCopyListD, double* fiD, int blocks);
    // Largest and smallest of ValueD[0 .. NInnerCell-1]: both buffers
    // (total doubles each) cleared, size[1] first-level blocks of 256, the
    // collecting passes of the level table (for NInnerCell, not validated)
    // and blocking copies. Only the first level is checked; its status is
    // returned. Reports "Calc_FlowE_FindMaxMinValue failed".
    int Calc_FlowE_FindMaxMinValue(int NInnerCell, double* ValueD, double& maxValue, double& minValue,
                                   double* maxBuffer, double* minBuffer, int nLevels, const int* count,
                                   const int* offset, int total, const int* size);
    // @FLOWE-MOMENTUM-END

    // ---------------------------------------------------------------------
    // Extended-flow pressure correction and inlet control
    // ---------------------------------------------------------------------
    // @FLOWE-PP-BEGIN
    // The SIMPLEC pressure correction of the extended-flow solver: several
    // inlet gates, each under velocity control (status 1) or pressure
    // control (status 2) and open (gpInletbInD = 1) or closed; assist-fluid
    // gates (material type > 1); vents decided per wall face; moving walls
    // in compression; melt compressibility; halved relaxation in bad cells.
    // Boundary decisions are stored as per-entry bool flags (judge arrays)
    // by one operation and read by later ones. Per-entry arrays (ijInletGPD,
    // gpInletbInD, PressD/pressureD, piIsOutletD, AirPressureD, isMoveWallD,
    // area vectors, fluxes, CBD, judge flags) are indexed by list entry k;
    // per-gate arrays (status, injection pressure, material type) by gate g
    // = ijInletGPD[k]; ijBD/ijWallD/ijInletD hold the extended slots and
    // ijPD/ijWallCVD/ijInletCVD the cells. Pressure settings (PressD,
    // pressure) are scaled by 10,000,000 when imposed; air pressures are
    // used as given. The trailing int is the block count (count/256 rounded
    // up); multi-launch operations take the list or face blocks, then the
    // row blocks. One launch reads or writes a few values per element.
    // Indices, gate numbers, slot maps and array lengths are not validated.
    // Each failed launch is reported at once and the rest still run; the
    // status of the last check is returned.

    // ---- Vent decisions (per wall entry, alpha = VolFD at the slot) ----

    // piIsOutletD = 2 stays 2; otherwise 1 if alpha < FCRI, else 0.
    // ijWallCVD is not read. Reports "CalcPP_FlowE_iIsOutlet1 failed".
    int CalcPP_FlowE_iIsOutlet1(int nFaces, double FCRI, int* ijWallCVD, int* ijWallD, double* VolFD,
                                int* piIsOutletD, int blocks);
    // piIsOutletD = 1 if alpha < FCRI and either (iFAIMFluidIn > 0 and the
    // cell's MFD <= 1e-30) or AirPressureD >= -1e-30; else 0 (2 is not kept).
    // Reports "CalcPP_FlowE_iIsOutlet2 failed".
    int CalcPP_FlowE_iIsOutlet2(int nFaces, int iFAIMFluidIn, double FCRI, int* ijWallCVD, int* ijWallD,
                                double* VolFD, float* MFD, double* AirPressureD, int* piIsOutletD, int blocks);

    // ---- Face fluxes and the gate pressures ----

    // Interior faces: plain interpolated face velocity U = u_f.S,
    // c = sqrt(|S|^2 |d|^2)/(S.d + 1e-30), A = APR(P) + APR(E), a = -c A |S|^2/2
    // if IsFaceMassFluxStab != 0 else -A |S|^2/2, aED = aWD = a and
    // mfeD = U + a dp*, dp* = (p(E) - p(P)) - mean(grad p).d. Reports
    // "Calc_FlowE_InnerFluxPP_aEaWmfe failed".
    int Calc_FlowE_InnerFluxPP_aEaWmfe(int nFaces, int* ijPD, int* ijED, double* leD, double* sxD, double* syD,
                                       double* szD, double* xcD, double* ycD, double* zcD, double* dp_dxD,
                                       double* dp_dyD, double* dp_dzD, double* uD, double* vD, double* wD,
                                       double* pD, double* APRD, double* mfeD, double* aED, double* aWD,
                                       int IsFaceMassFluxStab, int blocks);
    // The same over partition-interface faces, aED only. Reports
    // "Calc_FlowE_InnerFluxPP_aEmfe_Par failed".
    int Calc_FlowE_InnerFluxPP_aEmfe_Par(int nFaces, int* ijPParD, int* ijEParD, double* leParD, double* sxParD,
                                         double* syParD, double* szParD, double* xcD, double* ycD, double* zcD,
                                         double* dp_dxD, double* dp_dyD, double* dp_dzD, double* uD, double* vD,
                                         double* wD, double* pD, double* APRD, double* mfeD, double* aED,
                                         int IsFaceMassFluxStab, int blocks);
    // Per inlet entry (g its gate, t = gpInletGPMtrTypeD[g]): PressD =
    // SpruePress for t < 2, the gate's injection pressure for t > 1;
    // judge1D = (gpInletbInD = 1). Reports "CalcPP_FlowE_judge1judge2Press failed".
    int CalcPP_FlowE_judge1judge2Press(int nFaces, double SpruePress, int* gpInletbInD, int* ijInletGPD,
                                       int* gpInletGPMtrTypeD, double* pRVZFlowCTL_m_InjecPressD, double* PressD,
                                       bool* judge1D, int blocks);
    // Boundary list (P = ijPD[k] cell, E = ijED[k] slot, j = judgeD[k]): if
    // j, the cell velocity is copied into the slot; a0 = -APR(P)|S|^2,
    // a = a0 |S||d|/(S.d + 1e-30) if IsFaceMassFluxStab != 0 else a0;
    // aED = j a + (j ? 0 : aED); mfeD = j u(E).S + aED dp' + (j ? 0 : mfeD)
    // with dp' = (p(E) - p(P)) - grad p(P).d. Reports "CalcPP_BoundFluxMass failed".
    int CalcPP_BoundFluxMass(int nFaces, int IsFaceMassFluxStab, int* ijPD, int* ijED, bool* judgeD, double* xcD,
                             double* ycD, double* zcD, double* dp_dxD, double* dp_dyD, double* dp_dzD, double* sxD,
                             double* syD, double* szD, double* APRD, double* pD, double* uD, double* vD, double* wD,
                             double* aED, double* mfeD, int blocks);

    // ---- Inlet and wall states ----

    // Open gate (judgeD) under pressure control: p(slot) = pressureD 1e7 and
    // pp(slot) = 0; judge2AD = that condition, judge3AD = it and iTime > 1.
    // Reports "CalcPP_SetPPInlet_UpdateP_PP_judge2A_judge3A failed".
    int CalcPP_SetPPInlet_UpdateP_PP_judge2A_judge3A(int nFaces, int iTime, int* ijBD, int* ijInletGPD,
                                                     double* pressureD, bool* judgeD,
                                                     int* pRVZFlowCTL_m_iStatus_ControlD, double* pD, double* ppD,
                                                     bool* judge2AD, bool* judge3AD, int blocks);
    // The same with one status and one pressure for every inlet face.
    // Reports "CalcPP_SetPPInlet_NOFAIM_UpdateP_PP_judge2_judge3 failed".
    int CalcPP_SetPPInlet_NOFAIM_UpdateP_PP_judge2_judge3(int nFaces, int iTime, int RVZFlowCTL_m_iStatus_Control,
                                                          double pressure, int* ijBD, double* pD, double* ppD,
                                                          bool* judge2D, bool* judge3D, int blocks);
    // Vent (piIsOutletD > 0): p(slot) = oGeneralCtrl_dAirPressure if
    // oGeneralCtrl_iIsOutlet > 0, else AirPressureD; pp(slot) = 0.
    // judge1AD = vent; judge5AD = (iICM_Status = 1, VolFD(slot) > FCRI and
    // isMoveWallD = 1). Reports "CalcPP_SetPPWall_UpdateP_PP_judge1A_judge5A_true failed".
    int CalcPP_SetPPWall_UpdateP_PP_judge1A_judge5A_true(int nFaces, int oGeneralCtrl_iIsOutlet,
                                                         double oGeneralCtrl_dAirPressure, int iICM_Status,
                                                         double FCRI, int* ijBD, int* piIsOutletD, double* VolFD,
                                                         double* AirPressureD, int* isMoveWallD, double* pD,
                                                         double* ppD, bool* judge1AD, bool* judge5AD, int blocks);

    // ---- Inlet and wall right-hand sides and diagonals ----
    //
    // A per-entry term is collected owner-only into AELLDtemp (slot maps
    // MapFace2CellPxD/PyD; AELLDtemp must hold 0 wherever the maps do not
    // write) and the rows Map2CellPD[0 .. nRows) are added to SuD or to the
    // diagonal of AELLD. Collect and update steps report
    // "CalcPP_SetPPInlet_UpdateSu_First_Collect failed" and
    // "CalcPP_SetPPInlet_UpdateSu_First_Su failed".

    // tempD = -mfeD for open gates under velocity control, else 0, added to
    // SuD. Reports "CalcPP_SetPPInlet_UpdateSu_First_temp failed" first.
    int CalcPP_SetPPInlet_UpdateSu_First(int nFaces, int nRows, int new_nnu, int NColumnPerRow, int* ijInletGPD,
                                         int* pRVZFlowCTL_m_iStatus_ControlD, bool* judgeD, double* mfeD,
                                         double* tempD, double* SuD, int* MapFace2CellPxD, int* MapFace2CellPyD,
                                         int* Map2CellPD, double* AELLDtemp, int faceBlocks, int rowBlocks);
    // tempD = -mfeD under velocity control (status 1), else 0, added to SuD.
    // Reports "CalcPP_SetPPInlet_NOFAIM_UpdateSu_First_temp failed" first.
    int CalcPP_SetPPInlet_NOFAIM_UpdateSu_First(int nFaces, int nRows, int new_nnu, int NColumnPerRow,
                                                int RVZFlowCTL_m_iStatus_Control, double* mfeD, double* tempD,
                                                double* SuD, int* MapFace2CellPxD, int* MapFace2CellPyD,
                                                int* Map2CellPD, double* AELLDtemp, int faceBlocks, int rowBlocks);
    // temp1D = j2 (-(j3 (drho/dp(slot) + drho/dp(P))/2 mfeD + CBD)) added to
    // the diagonal, then temp2D = j2 (-mfeD) added to SuD (j2 = judge2D,
    // j3 = judge3D). Reports "CalcPP_SetPPInlet_NOFAIM_Update_AiSu_temp failed" first.
    int CalcPP_SetPPInlet_NOFAIM_Update_AiSu(int nFaces, int nRows, int new_nnu, int NColumnPerRow, int* ijPD,
                                             int* ijBD, double* mfeD, double* CBD, bool* judge2D, bool* judge3D,
                                             double* dden_dpD, double* temp1D, double* temp2D, double* AELLD,
                                             double* SuD, int* MapFace2CellPxD, int* MapFace2CellPyD,
                                             int* Map2CellPD, double* AELLDtemp, int faceBlocks, int rowBlocks);
    // temp1D = j1A (-CBD) added to the diagonal, then temp2D = j1A (-mfeD)
    // added to SuD. Reports "CalcPP_SetPPWall_Update_AiSu_temp failed" first.
    int CalcPP_SetPPWall_Update_AiSu(int nFaces, int nRows, int new_nnu, int NColumnPerRow, double* mfeD,
                                     double* CBD, bool* judge1AD, double* temp1D, double* temp2D, double* AELLD,
                                     double* SuD, int* MapFace2CellPxD, int* MapFace2CellPyD, int* Map2CellPD,
                                     double* AELLDtemp, int faceBlocks, int rowBlocks);

    // ---- Interior right-hand side ----

    // Owner -MassFluxD[f], neighbour +MassFluxD[f] (the four slot maps),
    // summed into SourceD for rows 0 .. nCells-1. Messages
    // "CalcPP_FlowE_SourceTerm_CentralCoeff_Collect_Su failed",
    // "CalcPP_FlowE_SourceTerm_CentralCoeff_Update_Su failed".
    int CalcPP_FlowE_SourceTerm_CentralCoeff(int nFaces, int nCells, int new_nnu, int NColumnPerRow,
                                             double* MassFluxD, int* MapFace2CellPxD, int* MapFace2CellPyD,
                                             int* MapFace2CellExD, int* MapFace2CellEyD, double* AELLDtemp,
                                             double* SourceD, int faceBlocks, int cellBlocks);
    // Partition faces: owner -MassFluxParD[f], summed into SourceD for the
    // rows NPar2CellPD[0 .. nRows). Messages
    // "CalcPP_FlowE_SourceTerm_CentralCoeff_Collect_Su_Par failed",
    // "CalcPP_FlowE_SourceTerm_CentralCoeff_Update_Su_Par failed".
    int CalcPP_FlowE_SourceTerm_CentralCoeff_Par(int nFaces, int nRows, int new_nnu, int NColumnPerRow,
                                                 double* MassFluxParD, int* MapFace2CellPxD, int* MapFace2CellPyD,
                                                 double* AELLDtemp, double* SourceD, int faceBlocks, int rowBlocks,
                                                 int* NPar2CellPD);

    // ---- Compressibility, final diagonal and the mass sum ----

    // Per cell, only for iTime > 1, tau = dt dtNor + 1e-30:
    // SuD += -V((p - p0) dden_dp + dden_dT)/tau, AELLD(c,0) += dden_dp V/tau;
    // for iTime <= 1 nothing changes. Reports "CalcPP_FlowE_1stImplicitEulerMethod failed".
    int CalcPP_FlowE_1stImplicitEulerMethod(int nCells, int iTime, double dt, double dtNor, double* pD, double* p0D,
                                            double* dden_dpD, double* dden_dTD, double* volumeD, double* SuD,
                                            double* AELLD, int blocks);
    // Per row c < nRows: AELLD(c,0) = (AELLD(c,0) - sum of columns 1..)/rr,
    // then SuD[c] += (1 - rr) AELLD(c,0) ppD[c]. Reports
    // "CalcPP_FlowE_EnhanceRobustness failed".
    int CalcPP_FlowE_EnhanceRobustness(int nRows, double rr, int new_nnu, int NColumnPerRow, double* ppD,
                                       double* AELLD, double* SuD, int blocks);
    // Reductions: first level over the count (size[1] blocks of the level
    // table, which must belong to that count, count >= 1), collecting passes
    // of 256, blocking copy of each result; each result has its own buffer
    // of `total` doubles. A failed first level is reported and returned;
    // the rest still runs and the results are still copied.
    //
    // MassSum = sum of SuD[c], c < NInnerCell. Reports "CalcPP_FlowE_MassSum failed".
    int CalcPP_FlowE_MassSum(int NInnerCell, double* SuD, double& MassSum, double* buffer, int nLevels,
                             const int* count, const int* offset, int total, const int* size);

    // ---- Boundary values of the correction pp (fiD extended) ----

    // Wall: piIsOutletD < 1: the cell's value; otherwise 0. Reports
    // "CalcPP_FlowE_UpdateBoundaryPP_Update_fi failed".
    int CalcPP_FlowE_UpdateBoundaryPP_Update_fi(int nFaces, int* ijWallCVD, int* ijWallD, int* piIsOutletD,
                                                double* fiD, int blocks);
    // Open gate: status 1: the cell's value, 2: 0, other: unchanged; closed
    // gate: 0 if piIsOutletD > 0, else the cell's value. Reports
    // "CalcPP_FlowE_UpdateBoundaryPP_Update_fi_FAIMIn failed".
    int CalcPP_FlowE_UpdateBoundaryPP_Update_fi_FAIMIn(int nFaces, int iStatus_Control, int* ijInletCVD,
                                                       int* ijInletD, int* gpInletbInD, int* piIsOutletD,
                                                       double* fiD, int blocks);
    // Status 1: the cell's value, 2: 0, other: unchanged. Reports
    // "CalcPP_FlowE_UpdateBoundaryPP_Update_fi_NoFAIMIn failed".
    int CalcPP_FlowE_UpdateBoundaryPP_Update_fi_NoFAIMIn(int nFaces, int iStatus_Control, int* ijInletCVD,
                                                         int* ijInletD, double* fiD, int blocks);
    // Outlet or symmetry list: fiD[ijBD[k]] = fiD[ijPD[k]] (p or pp).
    // Reports "CalcPP_FlowE_Update_fi_OutletSymm failed".
    int CalcPP_FlowE_Update_fi_OutletSymm(int nFaces, int* ijPD, int* ijBD, double* fiD, int blocks);

    // ---- Boundary values of the pressure p ----

    // Wall: vent (piIsOutletD > 0): AirPressureD; otherwise the cell's p.
    // Reports "CalcPP_FlowE_UpdateBoundaryP_Update_fi failed".
    int CalcPP_FlowE_UpdateBoundaryP_Update_fi(int nFaces, int* ijWallCVD, int* ijWallD, int* piIsOutletD,
                                               double* AirPressureD, double* fiD, int blocks);
    // Open gate: the cell's p under velocity control, else unchanged;
    // closed gate: AirPressureD if piIsOutletD > 0, else the cell's p.
    // Reports "CalcPP_FlowE_UpdateBoundaryP_Update_fi_FAIMIn failed".
    int CalcPP_FlowE_UpdateBoundaryP_Update_fi_FAIMIn(int nFaces, int* ijInletCVD, int* ijInletD, int* ijInletGPD,
                                                      int* gpInletbInD, int* piIsOutletD,
                                                      int* pRVZFlowCTL_m_iStatus_ControlD, double* AirPressureD,
                                                      double* fiD, int blocks);
    // Status 1: the cell's p; otherwise unchanged. Reports
    // "CalcPP_FlowE_UpdateBoundaryP_Update_fi_NoFAIMIn failed".
    int CalcPP_FlowE_UpdateBoundaryP_Update_fi_NoFAIMIn(int nFaces, int iStatus_Control, int* ijInletCVD,
                                                        int* ijInletD, double* fiD, int blocks);

    // ---- Corrections after the solve ----

    // MassFluxD[f] += AELLD(Px[f], Py[f]) (pp(ijCVED[f]) - pp(ijCVPD[f])).
    // Reports "CalcPP_FlowE_UpdateMassFlux failed".
    int CalcPP_FlowE_UpdateMassFlux(int nFaces, int new_nnu, int* ijCVPD, int* ijCVED, int* MapFace2CellPxD,
                                    int* MapFace2CellPyD, double* AELLD, double* ppD, double* MassFluxD, int blocks);
    // The same over partition faces. Reports "CalcPP_FlowE_UpdateMassFlux_Par failed".
    int CalcPP_FlowE_UpdateMassFlux_Par(int nFaces, int new_nnu, int* ijCVPParD, int* ijCVEParD,
                                        int* ParMapFace2CellPxD, int* ParMapFace2CellPyD, double* AELLD, double* ppD,
                                        double* MassFluxParD, int blocks);
    // Per cell (dp_d*D the gradient of pp): r = relaxIP/2 in bad cells when
    // oGeneralCtrl_iTurningBad = 1, else relaxIP; unless iflag = 2,
    // p += r (pp - ppo); unless iflag = 1, (u,v,w) -= V APR grad pp; SuD = 0
    // for every iflag. Reports "CalcPP_FlowE_CorrectPressureVelocities failed".
    int CalcPP_FlowE_CorrectPressureVelocities(int nCells, double relaxIP, int iflag, int oGeneralCtrl_iTurningBad,
                                               double ppo, int* gpIsBadElementsD, double* ppD, double* volumeD,
                                               double* dp_dxD, double* dp_dyD, double* dp_dzD, double* APRD,
                                               double* pD, double* uD, double* vD, double* wD, double* SuD,
                                               int blocks);
    // Inlet flags: judge1CD open and status 1, judge1DD open and status 2,
    // judge1ED open assist-fluid gate (type > 1), judge2AD closed with
    // VolFD(slot) < FCRI. iFAIMFluidIn, ijInletCVD and MFD are not read.
    // Reports "CalcPP_FlowE_CorrectInletVel_judge failed".
    int CalcPP_FlowE_CorrectInletVel_judge(int nFaces, int iFAIMFluidIn, double FCRI, int* ijInletCVD, int* ijInletD,
                                           double* VolFD, float* MFD, int* gpInletbInD, int* ijInletGPD,
                                           int* gpInletGPMtrTypeD, int* pRVZFlowCTL_m_iStatus_ControlD,
                                           bool* judge1CD, bool* judge1DD, bool* judge1ED, bool* judge2AD,
                                           int blocks);
    // Per inlet entry: f = V APR(P)/sqrt(|S|^2|d|^2), c = f (pp(slot) -
    // pp(P)); F0 = slot velocity.S if judge1CD else MassFluxInletD; for each
    // of judge1DD and judge2AD that holds, the slot velocity loses c S and
    // the flux c |S|^2; MassFluxInletD = the result. Reports
    // "CalcPP_FlowE_CorrectInletVel_UVW_MassFluxInle failed".
    int CalcPP_FlowE_CorrectInletVel_UVW_MassFluxInlet(int nFaces, int* ijInletCVD, int* ijInletD, double* ijInletSxD,
                                                       double* ijInletSyD, double* ijInletSzD, bool* judge1CD,
                                                       bool* judge1DD, bool* judge2AD, double* xcD, double* ycD,
                                                       double* zcD, double* APRD, double* volumeD, double* uD,
                                                       double* vD, double* wD, double* ppD, double* MassFluxInletD,
                                                       int blocks);
    // Sums over inlet entries of F = MassFluxInletD: TotalMassInlet of
    // (1C ? -F : 0) - (1D ? F : 0), TotalFluidMassInlet of (1E ? -F : 0),
    // TotalMassOutlet of (2A ? F : 0). Reports
    // "CalcPP_FlowE_CorrectInletVel_TotalMass failed".
    int CalcPP_FlowE_CorrectInletVel_TotalMass(int nFaces, bool* judge1CD, bool* judge1DD, bool* judge1ED,
                                               bool* judge2AD, double* MassFluxInletD, double& TotalMassInlet,
                                               double& TotalFluidMassInlet, double& TotalMassOutlet,
                                               double* inletBuffer, double* fluidBuffer, double* outletBuffer,
                                               int nLevels, const int* count, const int* offset, int total,
                                               const int* size);
    // MAXIMUM over inlet entries of the slot speed (judge1DD) or -1 (other
    // entries); threads of the first level beyond the list hold 0, so the
    // result is -1 only when the list fills its blocks. Reports
    // "CalcPP_FlowE_CorrectInletVel_VelNorm failed".
    int CalcPP_FlowE_CorrectInletVel_VelNorm(int nFaces, int* ijInletD, bool* judge1DD, double* uD, double* vD,
                                             double* wD, double& VelNorm, double* buffer, int nLevels,
                                             const int* count, const int* offset, int total, const int* size);
    // Per wall entry (o = piIsOutletD > 0): c = f (pp(slot) - pp(P)) o; the
    // slot velocity loses c S; F' = MassFluxWallD - c|S|^2; a moving wall in
    // compression (iICM_Status = 1, VolFD(slot) >= FCRI, isMoveWallD = 1)
    // takes MassFluxWallD = new slot velocity.S, the others F'. Returns the
    // sum of o F' in TotalMassOutlet. Reports "CalcPP_FlowE_CorrectWallVel failed".
    int CalcPP_FlowE_CorrectWallVel_TotalMass(int nFaces, int iICM_Status, double FCRI, int* ijWallCVD, int* ijWallD,
                                              int* piIsOutletD, int* isMoveWallD, double* ijWallSxD,
                                              double* ijWallSyD, double* ijWallSzD, double* xcD, double* ycD,
                                              double* zcD, double* VolFD, double* ppD, double* APRD,
                                              double* volumeD, double* uD, double* vD, double* wD,
                                              double* MassFluxWallD, double& TotalMassOutlet, double* buffer,
                                              int nLevels, const int* count, const int* offset, int total,
                                              const int* size);

    // ---- Second (non-orthogonal) corrector ----
    //
    // Per face, g the mean pp gradient of its cells, k = (S.d)S - |S|^2 d:
    // t = -(APR(P) + APR(E))/2 k.g; MassFluxD += t, mfeCorrD = t; then -t at
    // the owner and +t at the neighbour (AELLDtemp as above) summed into
    // SourceD for rows 0 .. nCells-1. Messages
    // "CalcPP_FlowE_CorrectMassFluxInnerCV_2ndCorrector failed", "..._Collect_Su
    // failed", "..._Update_Su failed".
    int CalcPP_FlowE_CorrectMassFluxInnerCV_2ndCorrector(int nFaces, int nCells, int new_nnu, int NColumnPerRow,
                                                         int* ijCVPD, int* ijCVED, double* sxD, double* syD,
                                                         double* szD, double* xcD, double* ycD, double* zcD,
                                                         double* APRD, double* dp_dxD, double* dp_dyD,
                                                         double* dp_dzD, double* MassFluxD, double* mfeCorrD,
                                                         int* MapFace2CellPxD, int* MapFace2CellPyD,
                                                         int* MapFace2CellExD, int* MapFace2CellEyD,
                                                         double* AELLDtemp, double* SourceD, int faceBlocks,
                                                         int cellBlocks);
    // Partition faces: -t at the owner only, summed into SourceD for the
    // rows Par2CellPD[0 .. nRows). Messages "..._2ndCorrector_Par failed",
    // "..._Collect_Su_Par failed", "..._Update_Su_Par failed".
    int CalcPP_FlowE_CorrectMassFluxInnerCV_2ndCorrector_Par(
        int nFaces, int nRows, int new_nnu, int NColumnPerRow, int* ijCVPParD, int* ijCVEParD, double* sxParD,
        double* syParD, double* szParD, double* xcD, double* ycD, double* zcD, double* APRD, double* dp_dxD,
        double* dp_dyD, double* dp_dzD, double* MassFluxParD, double* mfeCorrD, int* ParMapFace2CellPxD,
        int* ParMapFace2CellPyD, double* AELLDtemp, double* SourceD, int* Par2CellPD, int faceBlocks, int rowBlocks);
    // @FLOWE-PP-END

    // ---------------------------------------------------------------------
    // Energy equation
    // ---------------------------------------------------------------------
    // @ENERGY-BEGIN
    // The temperature equation rho cp DT/dt = div(k grad T) + sources,
    // assembled into the ELL matrix (off-diagonal entries <= 0, the diagonal
    // formed by CalcSC_FinalCoeffRHS_Sfi) and a right-hand side. fiD / TD,
    // dp_d{x,y,z}D (the temperature gradient) and mkD (conductivity) are
    // extended arrays: the boundary operations below fill their slots, and
    // the interior faces read them at E. Boundary lists: entry i has its
    // cell (ij..CVD) and boundary slot (ij..D); FCRIMatchD[i] = 1 marks a
    // wall face not yet wetted (adiabatic), 0 a wetted one; HotRunnerCellD
    // (per cell) = 1 marks a hot-runner cell. Accumulating operations collect
    // into AELLDtemp at the list's (or the faces') slot maps and sum rows in
    // column order; positions the maps do not write must hold 0 (the
    // scratch is not cleared here). Indices, maps, row lists and lengths
    // are not validated; every operation runs whatever it is given.

    // ---- Energy: interior faces ----
    //
    // Face f (P = ijPD, E = ijED, E-side weight le = leD[f]; S the area
    // vector, d = centroid(E) - centroid(P)): face gradient g = le grad T(E)
    // + (1-le) grad T(P); harmonic conductivity k_f = 1/((1-le)/k_E +
    // le/k_P); D = k_f|S|/(|d| + 1e-30); implicit part R = D (T_E - T_P);
    // cross part C = k_f g.S - D g.d; q = C/(R + 1e-30). The correction is
    // dropped (counted, and C replaced by 0) where R != 0 and |q| >= 5, or
    // |q| >= 1 while VolFD of P or E is below FCRI. aED = min(m,0) mCp - D,
    // aWD = -max(m,0) mCp - D (m = mfeD[f]); tempD = C goes to the owner's
    // SourceD and -C to the neighbour's through AELLDtemp (summed into
    // SourceD, added to). aED/aWD are placed into AELLD by Calc_MapaEaWToAi.
    // The count of dropped corrections is a reduction over the faces with
    // the level table of GetSizeOfBlock(nFaces) (nLevels, count, offset,
    // total, size) and norkkNextLevel_D, a buffer of `total` ints that is
    // cleared first; the count reaches norkk by a blocking copy, so the call
    // waits for its kernels. The table must belong to nFaces (not
    // validated). With nFaces < 1 (an empty partition interface) the face
    // kernel and the count are skipped, norkk = 0 and the buffer and table
    // are not read; the collect and update still run over their rows.
    // Messages: "Calc_InnerFluxSC_Flow failed" (face kernel),
    // "Calc_InnerFluxSC_Flow_SourceTerm failed" (collect),
    // "Calc_InnerFluxSC_Flow_UpdateSourceTerm failed" (update of rows
    // 0 .. nRows-1). The collecting passes and the copy are not checked;
    // returns the update's status.
    int Calc_InnerFluxSC_Flow(int nFaces, int nRows, int new_nnu, int NColumnPerRow, double mCp, double FCRI,
                              int* ijPD, int* ijED, double* leD, double* fiD, double* dp_dxD, double* dp_dyD,
                              double* dp_dzD, double* xcD, double* ycD, double* zcD, double* sxD, double* syD,
                              double* szD, double* mfeD, double* aED, double* aWD, double* SourceD, double* VolFD,
                              double* mkD, double* tempD, int& norkk, int* MapFace2CellPxD, int* MapFace2CellPyD,
                              int* MapFace2CellExD, int* MapFace2CellEyD, double* AELLDtemp, int cellBlocks,
                              int faceBlocks, int nLevels, const int* count, const int* offset, int total,
                              const int* size, int* norkkNextLevel_D);
    // As Calc_InnerFluxSC_Flow, but the update sums only the nRows rows
    // listed in Map2CellPBD (distinct cells); note the grids' order, face
    // grid first. Update message "Calc_InnerFluxSC_Flow_UpdateSourceTerm_Opt
    // failed".
    int Calc_InnerFluxSC_Flow_Opt(int nFaces, int nRows, int new_nnu, int NColumnPerRow, double mCp, double FCRI,
                                  int* ijPD, int* ijED, double* leD, double* fiD, double* dp_dxD, double* dp_dyD,
                                  double* dp_dzD, double* xcD, double* ycD, double* zcD, double* sxD, double* syD,
                                  double* szD, double* mfeD, double* aED, double* aWD, double* SourceD,
                                  double* VolFD, double* mkD, double* tempD, int& norkk, int* MapFace2CellPxD,
                                  int* MapFace2CellPyD, int* MapFace2CellExD, int* MapFace2CellEyD,
                                  double* AELLDtemp, int* Map2CellPBD, int faceBlocks, int cellBlocks, int nLevels,
                                  const int* count, const int* offset, int total, const int* size,
                                  int* norkkNextLevel_D);
    // As Calc_InnerFluxSC_Flow_Opt with every weight le = 1: the gradient of
    // E and the conductivity of P. Face message "Calc_InnerFluxSC_Flow
    // failed".
    int Calc_InnerFluxSC_Flow_Opt_ONE(int nFaces, int nRows, int new_nnu, int NColumnPerRow, double mCp,
                                      double FCRI, int* ijPD, int* ijED, double* fiD, double* dp_dxD,
                                      double* dp_dyD, double* dp_dzD, double* xcD, double* ycD, double* zcD,
                                      double* sxD, double* syD, double* szD, double* mfeD, double* aED,
                                      double* aWD, double* SourceD, double* VolFD, double* mkD, double* tempD,
                                      int& norkk, int* MapFace2CellPxD, int* MapFace2CellPyD,
                                      int* MapFace2CellExD, int* MapFace2CellEyD, double* AELLDtemp,
                                      int* Map2CellPBD, int faceBlocks, int cellBlocks, int nLevels,
                                      const int* count, const int* offset, int total, const int* size,
                                      int* norkkNextLevel_D);
    // Partition-interface faces (P local, E the neighbour partition's copy):
    // as Calc_InnerFluxSC_Flow_Opt without aWD (face message
    // "Calc_InnerFluxSC_Flow_wo_aW failed"); grids cell first. The
    // neighbour-side scratch positions must lie in rows that Map2CellPBD
    // does not name, so they are never summed.
    int Calc_InnerFluxSC_Flow_Par(int nFaces, int nRows, int new_nnu, int NColumnPerRow, double mCp, double FCRI,
                                  int* ijPD, int* ijED, double* leD, double* fiD, double* dp_dxD, double* dp_dyD,
                                  double* dp_dzD, double* xcD, double* ycD, double* zcD, double* sxD, double* syD,
                                  double* szD, double* mfeD, double* aED, double* SourceD, double* VolFD,
                                  double* mkD, double* tempD, int& norkk, int* MapFace2CellPxD,
                                  int* MapFace2CellPyD, int* MapFace2CellExD, int* MapFace2CellEyD,
                                  double* AELLDtemp, int* Map2CellPBD, int cellBlocks, int faceBlocks, int nLevels,
                                  const int* count, const int* offset, int total, const int* size,
                                  int* norkkNextLevel_D);

    // ---- Energy: boundary values and gradients (one launch each) ----

    // Inlet: the slot takes the cell's gradient and fiD[slot] =
    // dTransientInletTemperature when IsTranInConv_RIM, else MeltT. Reports
    // "Calc_InletBoundarySC_Update_ddfi failed".
    int Calc_InletBoundarySC_Update_ddfi(int nFaces, bool IsTranInConv_RIM, double MeltT,
                                         double dTransientInletTemperature, int* ijInletCVD, int* ijInletD,
                                         double* dp_dxD, double* dp_dyD, double* dp_dzD, double* fiD, int blocks);
    // Outlet (zero gradient): the slot takes the cell's value and gradient.
    // Reports "Calc_OutletBoundarySC_Update_ddfi failed".
    int Calc_OutletBoundarySC_Update_ddfi(int nFaces, int* ijOutletCVD, int* ijOutletD, double* dp_dxD,
                                          double* dp_dyD, double* dp_dzD, double* fiD, int blocks);
    // Symmetry: TD[slot] = TD[cell]; the gradient is left alone. Reports
    // "Calc_SymmetryBoundary_UpdateT failed".
    int Calc_SymmetryBoundary_UpdateT(int nFaces, int* ijSymmCVD, int* ijSymmD, double* TD, int blocks);
    // Walls: an unwetted face (m = FCRIMatchD = 1) is adiabatic, its slot
    // takes the cell's value and gradient; a wetted one (m = 0) keeps its
    // own. Computed as m*cell + (m = 0 ? slot : 0), so m must be 0 or 1.
    // Reports "Kernel_Calc_WallBoundarySC_ddfi failed".
    int Calc_WallBoundarySC_ddfi(int nFaces, int* ijWallCVD, int* ijWallD, int* FCRIMatchD, double* dp_dxD,
                                 double* dp_dyD, double* dp_dzD, double* fiD, int blocks);

    // ---- Energy: wall thermal conditions (one launch each) ----
    //
    // A wall face is active when FCRIMatchD = 0 and its cell is not a hot
    // runner (HotRunnerCellD != 1), a hot-runner face when FCRIMatchD = 0 and
    // HotRunnerCellD = 1. G = Surf_DistWallD (area over the cell-to-wall
    // distance), k = mkD at the face's slot, A = |(ijWallSx, Sy, Sz)|,
    // h = dHeatTransferH_CGS.

    // Mould-temperature wall: TD[slot] = C2FMoldTD on active faces; coefD =
    // k G on every face. Reports "Kernel_Calc_WallBoundarySC_UpdateT_coef
    // failed".
    int Calc_WallBoundarySC_UpdateT_coef(int nFaces, int* ijWallCVD, int* ijWallD, int* FCRIMatchD,
                                         int* HotRunnerCellD, double* Surf_DistWallD, double* mkD, double* C2FMoldTD,
                                         double* coefD, double* TD, int blocks);
    // Wall with a heat-transfer coefficient: the same temperature rule;
    // coefD = (A h)(k G)/(A h + k G), the transfer conductance in series
    // with conduction (h = 0 gives 0; h = k G = 0 gives NaN, not guarded).
    // Reports "Kernel_Calc_WallBoundarySC_UpdateT_coef_ThermoBC3 failed".
    int Calc_WallBoundarySC_UpdateT_coef_ThermoBC3(int nFaces, int* ijWallCVD, int* ijWallD, double* ijWallSxD,
                                                   double* ijWallSyD, double* ijWallSzD, int* FCRIMatchD,
                                                   int* HotRunnerCellD, double dHeatTransferH_CGS,
                                                   double* Surf_DistWallD, double* mkD, double* C2FMoldTD,
                                                   double* coefD, double* TD, int blocks);
    // After a solve, for every face with FCRIMatchD = 0: the wall surface
    // temperature TD[slot] = (beta T_m + TD[cell])/(beta + 1), beta =
    // (A h/G)/k, T_m the mould temperature the slot holds on entry. Reports
    // "Kernel_Calc_UpdateThermoBC3WallTemperature failed".
    int Calc_UpdateThermoBC3WallTemperature(int nFaces, double dHeatTransferH_CGS, int* ijWallCVD, int* ijWallD,
                                            int* FCRIMatchD, double* ijWallSxD, double* ijWallSyD,
                                            double* ijWallSzD, double* Surf_DistWallD, double* mkD, double* TD,
                                            int blocks);
    // Hot-runner faces: TD[slot] = TD[cell] and C2FMoldTD = MeltT; other
    // faces keep both. Reports "Kernel_Calc_UpdateHotRunnerWallTemperature
    // failed".
    int Calc_UpdateHotRunnerWallTemperature(int nFaces, double MeltT, int* ijWallCVD, int* ijWallD, int* FCRIMatchD,
                                            int* HotRunnerCellD, double* TD, double* C2FMoldTD, int blocks);

    // ---- Energy: boundary contributions (collect and update) ----

    // Active wall faces add coefD TD[slot] to RHS (the caller's source
    // array) at their cells; other faces add 0. Messages
    // "Calc_WallBoundarySC_SourceTerm failed", "..._SourceTerm_Su failed",
    // "Calc_WallBoundarySC_SourceTermUpdate_Opt failed".
    int Calc_WallBoundarySC_SourceTerm(int nFaces, int nRows, int new_nnu, int NColumnPerRow, int* ijWallCVD,
                                       int* ijWallD, int* FCRIMatchD, double* coefD, int* HotRunnerCellD, double* TD,
                                       double* RHS, double* tempD, int* MapFace2CellPxD, int* MapFace2CellPyD,
                                       double* AELLDtemp, int* Map2CellPD, int faceBlocks, int rowBlocks);
    // Inlet faces add fiD[ijInletD] (-CBD) to RHS at their cells: with
    // CalcSC_InOutletAi and the inlet value step, a Dirichlet condition of
    // conductance -CBD. Messages "Calc_InletBoundarySC_SourceTerm_Su
    // failed", "Calc_InletBoundarySC_SourceTermUpdate_Opt failed".
    int Calc_InletBoundarySC_SourceTerm(int nFaces, int nRows, int new_nnu, int NColumnPerRow, int* ijInletD,
                                        double* CBD, double* fiD, double* RHS, int* MapFace2CellPxD,
                                        int* MapFace2CellPyD, double* AELLDtemp, int* Map2CellPD, int faceBlocks,
                                        int rowBlocks);
    // Inlet/outlet faces add -CBD to the diagonal AELLD[cell]. Messages
    // "CalcSC_InOutletAi failed", "CalcSC_InOutletAi_Update_Opt failed".
    int CalcSC_InOutletAi(int nFaces, int nRows, int new_nnu, int NColumnPerRow, int* MapFace2CellPxD,
                          int* MapFace2CellPyD, double* CBD, double* AELLDtemp, double* AELLD, int* Map2CellPD,
                          int faceBlocks, int rowBlocks);
    // Active wall faces add coefD to the diagonal AELLD[cell]. Messages
    // "CalcSC_WallAi failed", "CalcSC_WallAi_Update_Opt failed".
    int CalcSC_WallAi(int nFaces, int nRows, int new_nnu, int NColumnPerRow, int* ijWallCVD, int* MapFace2CellPxD,
                      int* MapFace2CellPyD, int* FCRIMatchD, int* HotRunnerCellD, double* coefD, double* AELLDtemp,
                      double* AELLD, int* Map2CellPD, int faceBlocks, int rowBlocks);

    // ---- Energy: volumetric sources and time term (one launch each) ----

    // Cells with VolFD >= FCRI, when lVisHeat != 0: SuD += min(visD
    // SRateD^2, 20 denD mCp) volumeD (the heating rate capped at 20
    // temperature units per unit time). Reports
    // "Kernel_Calc_ViscousDisspationVolumetricTerm failed".
    int Calc_ViscousDisspationVolumetricTerm(int nCells, double FCRI, double lVisHeat, double mCp, double* VolFD,
                                             double* visD, double* SRateD, double* denD, double* volumeD, double* SuD,
                                             int blocks);
    // Cells with VolFD >= FCRI: SuD += dC_dtD mdH volumeD. Reports
    // "Kernel_Calc_ReactionHeat_Su failed".
    int Calc_ReactionHeat_Su(int nCells, double FCRI, double mdH, double* VolFD, double* dC_dtD, double* volumeD,
                             double* SuD, int blocks);
    // Time term with c = denD volumeD/(dt dtNor) mCp and B = BlendTime (0
    // implicit Euler, 1 three-level backward): SuD += c((1+B) fi0 - (B/2)
    // fi00). dt dtNor = 0 is not guarded. Reports
    // "Calc_UnsteadyTermContributionSC failed".
    int Calc_UnsteadyTermContributionSC(int nCells, double mCp, double dt, double dtNor, double BlendTime,
                                        double* denD, double* volumeD, double* fi0D, double* fi00D, double* SuD,
                                        int blocks);
    // The same c(1 + B/2) added to the diagonal AELLD[c]. Reports
    // "Kernel_Calc_2ndImplicitEulerMethodAi_SC failed".
    int Calc_2ndImplicitEulerMethodAi_SC(int nCells, double mCp, double dt, double dtNor, double BlendTime,
                                         double* denD, double* volumeD, double* AELLD, int blocks);

    // ---- Energy: bound and final coefficients (one launch each) ----

    // fiD = MeltT_MoldT where fiD < MeltT_MoldT (NaN is kept). Reports
    // "Kernel_Calc_Updatefi_MoldMelt failed".
    int Calc_Updatefi_MoldMelt(int nCells, double MeltT_MoldT, double* fiD, int blocks);
    // Row i < nnu: s = the sum of AELLD's columns 1 .. NColumnPerRow-1 in
    // order, aP = (AD[i] - s)/relax; a hot-runner cell (HotRunnerCellD = 1)
    // gets AELLD[i] = 1e30 and SfiD[i] = MeltT 1e30 (held at MeltT), any
    // other AELLD[i] = aP and SfiD[i] += (1 - relax) aP fiD[i]. AD may be
    // AELLD itself (its diagonal is read before it is written). Reports
    // "CalcSC_FinalCoeffRHS_fi failed".
    int CalcSC_FinalCoeffRHS_Sfi(int nnu, int new_nnu, int NColumnPerRow, double relax, double* fiD, double* AELLD,
                                 double* AD, double* SfiD, double MeltT, int* HotRunnerCellD, int blocks);
    // @ENERGY-END
    // @ENERGY-EXTENDED-BEGIN
    // The temperature equation of the extended-flow solver: specific heat
    // per cell (mCpD), face mass fluxes formed from the flow solver's fluxes,
    // a bounded non-orthogonal correction, walls with vents (piIsOutletD > 0)
    // and per-face heat-transfer coefficients (pdWallHTCD), inlets whose
    // temperature comes from the injection point, hot-runner walls and the
    // hot-runner temperature control. Array layouts, slot maps, row lists
    // and the scratch AELLDtemp as in the energy section above. Cost: one
    // launch per step over its elements, each named array element read or
    // written about once (a row sum reads its NColumnPerRow scratch
    // entries); the two-pass boundary operations also clear the whole
    // scratch once. Nothing waits for the device except where stated.
    // Indices, maps, row lists, lengths and flags are not validated.

    // ---- Extended energy: vent flags and face mass flux (one launch each) ----

    // Wall face i (slot ijWallD[i]): a flag equal to 2 is kept; otherwise
    // piIsOutletD[i] = 1 while VolFD[slot] < FCRI, else 0. Reports
    // "CalcSC_FlowE_Temperature_iIsOutlet1 failed".
    int CalcSC_FlowE_Temperature_iIsOutlet1(int nFaces, int* ijWallD, int* piIsOutletD, double* VolFD, double FCRI,
                                            int blocks);
    // piIsOutletD[i] = 1 when VolFD[slot] < FCRI and either a second fluid
    // is injected (iFAIMFluidIn > 0) while MFD[cell] <= 1e-30 (NaN counts as
    // above), or the vent pressure term q >= -1e-30, q = AirPressureD[i] 1e7
    // when EnableVentingAnalysis != 0 and 0 otherwise; else 0. Reports
    // "CalcSC_FlowE_Temperature_iIsOutlet2 failed".
    int CalcSC_FlowE_Temperature_iIsOutlet2(int nFaces, int* ijWallCVD, int* ijWallD, int* piIsOutletD,
                                            double* VolFD, float* MFD, int iFAIMFluidIn, double* AirPressureD,
                                            double FCRI, int EnableVentingAnalysis, int blocks);
    // mfeD = rho_f MassFluxD per interior face: rho_f = (denD[P] + denD[E])/2
    // when gIsWeightedFlowRate = 1, else VFeD denl + (1 - VFeD) deng. mCpD is
    // accepted and not read. Reports "CalcSC_FlowE_InnerFluxSC_mfe failed".
    int CalcSC_FlowE_InnerFluxSC_mfe(int nFaces, double* mCpD, int* ijPD, int* ijED, double* VFeD, double denl,
                                     double deng, double* MassFluxD, double* denD, double* mfeD,
                                     int gIsWeightedFlowRate, int blocks);

    // ---- Extended energy: interior faces (face kernel, collect, update) ----
    //
    // Face f (P, E, S, d as in the energy section): k_f = 1/((1-le)/k_E +
    // le/k_P), c_f = le cp_E + (1-le) cp_P; D = k_f |S|^2/(S.d + 1e-30);
    // C = k_f g.S - D g.d with g = le grad T(E) + (1-le) grad T(P); the
    // correction kept is lambda C with lambda = clamp((beta D (T_E - T_P) +
    // 1e-30)/((1 - beta) C + 1e-30), 0, 1), beta = nonOrthLimitFactor: at
    // most beta/(1-beta) times the implicit flux, none when it opposes it
    // (beta = 0 leaves about 1e-30). aED = c_f min(m,0) - D, aWD = -c_f
    // max(m,0) - D (m = mfeD). tempD = lambda C goes to the owner's SourceD
    // and -lambda C to the neighbour's through AELLDtemp (added to). aED/aWD
    // reach AELLD through Calc_MapaEaWToAi. One launch per step; face kernel
    // and collect move about 260 bytes per face, the update one row of the
    // scratch per cell (bench/bench_energy_flowe). Messages: face kernel
    // "CalcSC_FlowE_InnerFluxSC failed", collect
    // "CalcSC_FlowE_InnerFluxSC_SourceTerm failed", update of rows
    // 0 .. nRows-1 "CalcSC_FlowE_InnerFluxSC_UpdateSourceTerm failed".
    // Returns the update's status. Grids: cell first.
    int CalcSC_FlowE_InnerFluxSC(int nFaces, int nRows, int new_nnu, int NColumnPerRow, double* mCpD, int* ijPD,
                                 int* ijED, double* leD, double* fiD, double* dp_dxD, double* dp_dyD, double* dp_dzD,
                                 double* xcD, double* ycD, double* zcD, double* sxD, double* syD, double* szD,
                                 double* mkD, double* mfeD, double* aED, double* aWD, double* SourceD, double* tempD,
                                 double nonOrthLimitFactor, int* MapFace2CellPxD, int* MapFace2CellPyD,
                                 int* MapFace2CellExD, int* MapFace2CellEyD, double* AELLDtemp, int cellBlocks,
                                 int faceBlocks);
    // As CalcSC_FlowE_InnerFluxSC with every weight 1 (leD is accepted and
    // not read: the neighbour's gradient and specific heat, k_f = mkD[P]),
    // the update summing the nRows rows listed in Map2CellPBD. Grids: face
    // first. Messages "CalcSC_FlowE_InnerFluxSC_Opt failed", the collect's,
    // "CalcSC_FlowE_InnerFluxSC_UpdateSourceTerm_Opt failed".
    int CalcSC_FlowE_InnerFluxSC_Opt(int nFaces, int nRows, int new_nnu, int NColumnPerRow, double* mCpD,
                                     int* ijPD, int* ijED, double* leD, double* fiD, double* dp_dxD, double* dp_dyD,
                                     double* dp_dzD, double* xcD, double* ycD, double* zcD, double* sxD,
                                     double* syD, double* szD, double* mkD, double* mfeD, double* aED, double* aWD,
                                     double* SourceD, double* tempD, double nonOrthLimitFactor,
                                     int* MapFace2CellPxD, int* MapFace2CellPyD, int* MapFace2CellExD,
                                     int* MapFace2CellEyD, double* AELLDtemp, int faceBlocks, int cellBlocks,
                                     int* Map2CellPBD);
    // As CalcSC_FlowE_InnerFluxSC_Opt on a face list judged by gpInletbInD:
    // a face with flag 1 first copies the owner's gradient into its
    // neighbour's entry of dp_d{x,y,z}D, then is evaluated; any other face
    // keeps aED, aWD and the gradient and writes tempD = 0. The listed faces'
    // neighbours must be distinct and no listed face's owner (not
    // validated). Face message "CalcSC_FlowE_InnerFluxSC_Opt_judge failed".
    int CalcSC_FlowE_InnerFluxSC_Opt_judge(int nFaces, int nRows, int new_nnu, int NColumnPerRow, double* mCpD,
                                           int* ijPD, int* ijED, double* leD, double* fiD, double* dp_dxD,
                                           double* dp_dyD, double* dp_dzD, double* xcD, double* ycD, double* zcD,
                                           double* sxD, double* syD, double* szD, double* mkD, double* mfeD,
                                           double* aED, double* aWD, double* SourceD, double* tempD,
                                           double nonOrthLimitFactor, int* gpInletbInD, int* MapFace2CellPxD,
                                           int* MapFace2CellPyD, int* MapFace2CellExD, int* MapFace2CellEyD,
                                           double* AELLDtemp, int faceBlocks, int cellBlocks, int* Map2CellPBD);
    // Partition-interface faces: as CalcSC_FlowE_InnerFluxSC_Opt without aWD
    // (face message "CalcSC_FlowE_InnerFluxSC_Par failed"). The neighbour-side
    // scratch positions must lie in rows Map2CellPBD does not name.
    int CalcSC_FlowE_InnerFluxSC_Par(int nFaces, int nRows, int new_nnu, int NColumnPerRow, double* mCpD,
                                     int* ijPD, int* ijED, double* leD, double* fiD, double* dp_dxD, double* dp_dyD,
                                     double* dp_dzD, double* xcD, double* ycD, double* zcD, double* sxD,
                                     double* syD, double* szD, double* mkD, double* mfeD, double* aED,
                                     double* SourceD, double* tempD, double nonOrthLimitFactor,
                                     int* MapFace2CellPxD, int* MapFace2CellPyD, int* MapFace2CellExD,
                                     int* MapFace2CellEyD, double* AELLDtemp, int faceBlocks, int cellBlocks,
                                     int* Map2CellPBD);

    // ---- Extended energy: cell terms (one launch each) ----

    // c = denD volumeD OneOver_dtdtNor mCpD, B = BlendTime: SuD += c((1+B)
    // fi0D - (B/2) fi00D) and the diagonal AELLD[c] += c(1 + B/2). Reports
    // "CalcSC_FlowE_UnsteadyTermContributionSC failed".
    int CalcSC_FlowE_UnsteadyTermContributionSC(int nCells, double* mCpD, double OneOver_dtdtNor, double BlendTime,
                                                double* denD, double* volumeD, double* fi0D, double* fi00D,
                                                double* SuD, double* AELLD, int blocks);
    // Cells with VolFD >= FCRI, when lVisHeat != 0: SuD += min(visD SRateD^2,
    // VisTempLimiter OneOver_dtdtNor denD mCpD) volumeD (one step heats a cell
    // by at most VisTempLimiter). mdH, MoldingType and dC_dtD are accepted
    // and not read. Reports
    // "Kernel_CalcSC_FlowE_ViscousDisspationVolumetricTerm failed".
    int CalcSC_FlowE_ViscousDisspationVolumetricTerm(int nCells, double FCRI, double lVisHeat, double VisTempLimiter,
                                                     double OneOver_dtdtNor, double mdH, int MoldingType,
                                                     double* mCpD, double* VolFD, double* visD, double* SRateD,
                                                     double* denD, double* volumeD, double* dC_dtD, double* SuD,
                                                     int blocks);
    // Row i < nnu: aP = (AELLD[i] - sum of columns 1 .. NColumnPerRow-1)
    // OneOver_relaxIF; AELLD[i] = aP; SfiD[i] += (1 - relax) aP fiD[i]. No
    // hot-runner penalty. Reports "CalcSC_FlowE_FinalCoeffRHS_fi failed".
    int CalcSC_FlowE_FinalCoeffRHS_Sfi(int nnu, int new_nnu, int NColumnPerRow, double relax, double* fiD,
                                       double* AELLD, double* SfiD, double OneOver_relaxIF, int blocks);

    // ---- Extended energy: boundary faces with two accumulations ----
    //
    // Each runs its per-face kernel (temp1D = diagonal contribution, temp2D =
    // right-hand-side contribution of each face), collects temp1D at the
    // faces' owner slots and adds the row sums of the rows in Map2CellPD to
    // the diagonal AELLD, clears AELLDtemp (new_nnu NColumnPerRow doubles),
    // collects temp2D and adds the row sums to SuD. The first collect needs
    // the scratch cleared by the caller. Returns the last update's status.
    // k G = mkD[slot] Surf_DistWallD (conduction), h A = transfer
    // conductance; a kind-3 wall (isThermoBC3 != 0) uses (hA kG)/(hA + kG).

    // Walls, o = piIsOutletD[i]: a venting face (o > 0) copies the cell's
    // gradient and temperature into its slot and contributes nothing; a face
    // with o < 1 of a cell with HotRunnerCellD < 1 is held at C2FMoldTD
    // (slot temperature) with h A = pdWallHTCD |S_w|; others contribute 0.
    // Messages "CalcSC_FlowE_IsothermalWallBoundariesC failed",
    // "CalcSC_FlowE_IsothermalWallBoundaries_Ai failed" (both collects),
    // "..._Ai_Update_Opt failed", "..._Su_Update_Opt failed".
    int CalcSC_FlowE_IsothermalWallBoundaries(int nFaces, int nRows, int new_nnu, int NColumnPerRow, int* ijWallCVD,
                                              int* ijWallD, int* piIsOutletD, double* dp_dxD, double* dp_dyD,
                                              double* dp_dzD, double* fiD, int* HotRunnerCellD, int isThermoBC3,
                                              double* ijWallSxD, double* ijWallSyD, double* ijWallSzD,
                                              double* pdWallHTCD, double* Surf_DistWallD, double* mkD,
                                              double* C2FMoldTD, double* AELLD, double* SuD, double* temp1D,
                                              double* temp2D, int* MapFace2CellPxD, int* MapFace2CellPyD,
                                              int* Map2CellPD, double* AELLDtemp, int faceBlocks, int rowBlocks);
    // Active inlet faces (gpInletbInD = 1): the slot takes the cell's
    // gradient and the injected temperature (dTransientInletTemperature when
    // IsTranInConv_RIM; else gdMeltT without a second fluid, iFAIMFluidIn =
    // 0; else by the material type of the face's injection point g =
    // ijInletGPD: 1 melt, gdMeltT, or the cell's temperature when the point
    // is shut off; 2 and 3 pRVZFlowCTL_m_dFluidTD[g]; other types 0), and
    // a Dirichlet condition of conductance -CBD. Other faces keep their slot
    // and contribute 0. Messages "CalcSC_FlowE_InletBoundary_fi_first
    // failed", "CalcSC_FlowE_InletBoundary_SourceTerm failed",
    // "..._Ai_Update_Opt failed", "CalcSC_FlowE_InletBoundary_Ai failed",
    // "..._Su_Update_Opt failed".
    int CalcSC_FlowE_InletBoundary_First(int nFaces, int nRows, int new_nnu, int NColumnPerRow,
                                         bool IsTranInConv_RIM, int iFAIMFluidIn, double dTransientInletTemperature,
                                         double gdMeltT, int* ijInletCVD, int* ijInletD, int* gpInletbInD,
                                         int* ijInletGPD, int* gpInletGPMtrTypeD, int* pRVZFlowCTL_m_iIsShutOffD,
                                         double* pRVZFlowCTL_m_dFluidTD, double* CBD, double* dp_dxD,
                                         double* dp_dyD, double* dp_dzD, double* fiD, double* AELLD, double* SuD,
                                         double* temp1D, double* temp2D, int* MapFace2CellPxD, int* MapFace2CellPyD,
                                         int* Map2CellPD, double* AELLDtemp, int faceBlocks, int rowBlocks);
    // Inlet faces that are not injecting (gpInletbInD != 1) act as walls:
    // an unfilled slot (VolFD[slot] < FCRI) takes the cell's gradient and
    // temperature and contributes 0; a filled slot of a cell that is not a
    // hot runner is held at gdMoldT through k G = mkD[slot] A/(d_n + 1e-20)
    // and h A = dHeatTransferH_SI 1000 A (A = |S|, d_n the cell-centre to
    // face-centre distance along the unit normal). Injecting faces change
    // nothing. iFAIMFluidIn and MFD are accepted and not read. Messages
    // "CalcSC_FlowE_InletBoundary_fi_second failed",
    // "CalcSC_FlowE_InletBoundary_SourceTerm failed" (both collects),
    // "..._Ai_Update_Opt failed", "..._Su_Update_Opt failed".
    int CalcSC_FlowE_InletBoundary_Second(int nFaces, int nRows, int new_nnu, int NColumnPerRow, double FCRI,
                                          double dHeatTransferH_SI, double gdMoldT, int iFAIMFluidIn,
                                          int isThermoBC3, int* ijInletCVD, int* ijInletD, double* ijInletSxD,
                                          double* ijInletSyD, double* ijInletSzD, double* ijInletxcD,
                                          double* ijInletycD, double* ijInletzcD, double* xcD, double* ycD,
                                          double* zcD, double* VolFD, float* MFD, int* HotRunnerCellD, double* mkD,
                                          int* gpInletbInD, double* dp_dxD, double* dp_dyD, double* dp_dzD,
                                          double* fiD, double* AELLD, double* SuD, double* temp1D, double* temp2D,
                                          int* MapFace2CellPxD, int* MapFace2CellPyD, int* Map2CellPD,
                                          double* AELLDtemp, int faceBlocks, int rowBlocks);
    // Hot-runner surface: entry e < size names wall face w =
    // SurfBC_ToWallIndxD[e + stride]; it is active when 1 <= w <= NWall and
    // HotRunnerCellD[ijWallCVD[w]] > 0, and then holds its slot at the set
    // temperature C2FMoldTD[w] (TD[slot] = C2FMoldTD[w]) through k G =
    // mkD[slot] Surf_DistWallD[w] and h A = pdWallHTCD[w] |S_w| (wall arrays
    // indexed by w). Inactive entries contribute 0; entries with w outside
    // 1 .. NWall touch nothing. Both collects go through the slot maps at w.
    // Messages "CalcSC_FlowE_HotRunnerTemperatureControl failed",
    // "..._SourceTerm failed" (both collects), "..._Ai_Update_Opt failed",
    // "..._Su_Update_Opt failed".
    int CalcSC_FlowE_HotRunnerTemperatureControl(int size, int NWall, int nRows, int new_nnu, int NColumnPerRow,
                                                 int isThermoBC3, int* ijWallCVD, int* ijWallD,
                                                 int* SurfBC_ToWallIndxD, int* HotRunnerCellD, double* ijWallSxD,
                                                 double* ijWallSyD, double* ijWallSzD, double* pdWallHTCD,
                                                 double* mkD, double* Surf_DistWallD, double* C2FMoldTD,
                                                 double* temp1D, double* temp2D, int stride, double* TD,
                                                 double* AELLD, double* SuD, int* MapFace2CellPxD,
                                                 int* MapFace2CellPyD, int* Map2CellPD, double* AELLDtemp,
                                                 int faceBlocks, int rowBlocks);

    // ---- Extended energy: wall surface temperatures, hot-runner walls ----

    // After a solve (kind 3), walls with piIsOutletD < 1: TD[slot] = (beta
    // TD[slot] + TD[cell])/(beta + 1), beta = (pdWallHTCD |S_w| /
    // Surf_DistWallD)/mkD[slot]. Reports
    // "Kernel_CalcSC_FlowE_UpdateThermoBC3WallTemp_Wall failed".
    int CalcSC_FlowE_UpdateThermoBC3WallTemp_Wall(int nFaces, int* ijWallCVD, int* ijWallD, int* piIsOutletD,
                                                  double* ijWallSxD, double* ijWallSyD, double* ijWallSzD,
                                                  double* pdWallHTCD, double* Surf_DistWallD, double* mkD,
                                                  double* TD, int blocks);
    // The same on inlet faces with gpInletbInD = 0 whose slot is filled
    // (VolFD[slot] >= FCRI, NaN counting as filled), beta = (h A/(A/(d_n +
    // 1e-20)))/mkD[slot], h = dHeatTransferH_SI 1000. iFAIMFluidIn and MFD
    // are accepted and not read. Reports
    // "Kernel_CalcSC_FlowE_UpdateThermoBC3WallTemp_Inlet failed".
    int CalcSC_FlowE_UpdateThermoBC3WallTemp_Inlet(int nFaces, double FCRI, int iFAIMFluidIn,
                                                   double dHeatTransferH_SI, int* ijInletCVD, int* ijInletD,
                                                   double* ijInletSxD, double* ijInletSyD, double* ijInletSzD,
                                                   double* ijInletxcD, double* ijInletycD, double* ijInletzcD,
                                                   double* xcD, double* ycD, double* zcD, int* gpInletbInD,
                                                   double* mkD, float* MFD, double* VolFD, double* TD, int blocks);
    // Filled wall slots of hot-runner cells (HotRunnerCellD >= 1) get TD = 0,
    // the mark of a wall not yet initialised. Reports
    // "Kernel_CalcSC_FlowE_InitHotRunnerWallTemp failed".
    int CalcSC_FlowE_InitHotRunnerWallTemp(int nFaces, double FCRI, int* ijWallCVD, int* ijWallD, double* VolFD,
                                           int* HotRunnerCellD, double* TD, int blocks);
    // Marked (TD < 1e-30) filled wall slots of hot-runner cells take the
    // cell's temperature and C2FMoldTD = gdMeltT. Reports
    // "Kernel_CalcSC_FlowE_UpdateHotRunnerWallTemp failed".
    int CalcSC_FlowE_UpdateHotRunnerWallTemp(int nFaces, double FCRI, double gdMeltT, int* ijWallCVD, int* ijWallD,
                                             double* VolFD, int* HotRunnerCellD, double* TD, double* C2FMoldTD,
                                             int blocks);
    // Entries e < size of a surface-condition list (w as in the control
    // above): an active entry's wall slot takes its cell's temperature.
    // Reports "CalcSC_FlowE_UpdateHotRunnerWallTempThermalBC failed".
    int CalcSC_FlowE_UpdateHotRunnerWallTempThermalBC(int size, int NWall, int* ijWallCVD, int* ijWallD,
                                                      int* SurfBC_ToWallIndxD, int* HotRunnerCellD, int stride,
                                                      double* TD, int blocks);
    // ---- Melt-front temperature ----
    //
    // The temperature the advancing melt front carries: a scalar fiD
    // (extended array) transported by the face mass fluxes alone
    // (first-order upwind, unit coefficient: no diffusion, no density or
    // heat capacity), with inflow at the inlets, zero gradient at walls and
    // implicit Euler in time, assembled into AELLD and SuD; then sampled per
    // cell when the cell fills. Cost: one launch per step, each named array
    // element touched about once; only the convergence measure waits for
    // the device. Indices, maps and lengths are not validated.

    // aED = min(m, 0), aWD = -max(m, 0) per interior face (m = mfeD); placed
    // into AELLD by Calc_MapaEaWToAi. Reports "Calc_InnerFluxHeatGen failed".
    int Calc_InnerFluxHeatGen(int nFaces, double* mfeD, double* aED, double* aWD, int blocks);
    // Partition-interface faces: aED only. Reports "Calc_InnerFluxHeatGen_Par
    // failed".
    int Calc_InnerFluxHeatGen_Par(int nFaces, double* mfeD, double* aED, int blocks);
    // Inlet face i (slot ijInletD[i]): CBD[i] = c = min(MassFluxInletD[i], 0)
    // (inflow only) and tempSuD[i] = -c fiD[slot], collected at the face's
    // owner slot and added to SuD over the nRows rows of Map2CellPBD (the
    // scratch must be cleared by the caller). Messages
    // "Calc_MeltFrontTemp_InletBoundary failed",
    // "Calc_MeltFrontTemp_InletBC_Su failed",
    // "Calc_MeltFrontTemp_InletBC_Su_Update failed"; returns the update's.
    int Calc_MeltFrontTemp_InletBoundary(int nFaces, int nRows, int new_nnu, int NColumnPerRow, int* ijInletD,
                                         double* MassFluxInletD, double* CBD, double* tempSuD, double* SuD,
                                         double* fiD, int* MapFace2CellPxD, int* MapFace2CellPyD, double* AELLDtemp,
                                         int* Map2CellPBD, int faceBlocks, int rowBlocks);
    // -CBD added to the diagonal AELLD over the rows of Map2CellPD: with the
    // step above an inflow face adds |m| to the diagonal and |m| T_b to the
    // source. Messages "Calc_MeltFrontTemp_InletAi failed",
    // "Calc_MeltFrontTemp_InletAi_Update_Opt failed".
    int Calc_MeltFrontTemp_InletAi(int nFaces, int nRows, int new_nnu, int NColumnPerRow, int* MapFace2CellPxD,
                                   int* MapFace2CellPyD, double* CBD, double* AELLDtemp, double* AELLD,
                                   int* Map2CellPD, int faceBlocks, int rowBlocks);
    // Zero gradient: fiD[ijWallD[i]] = fiD[ijWallCVD[i]]. Reports
    // "Calc_MeltFrontTemp_WallBC failed".
    int Calc_MeltFrontTemp_WallBC(int nFaces, int* ijWallCVD, int* ijWallD, double* fiD, int blocks);
    // Cell i < nnu, c = volumeD/dt: SuD += c fi0D, diagonal AELLD += c. dt = 0
    // is not guarded. Reports "Calc_MeltFrontTemp_UnsteadyTermContribution
    // failed".
    int Calc_MeltFrontTemp_UnsteadyTermContribution(int nnu, double* volumeD, double dt, double* AELLD, double* SuD,
                                                    double* fi0D, int blocks);
    // Row i < nnu: aP = (AELLD[i] - sum of columns 1 .. NColumnPerRow-1)/relax;
    // AELLD[i] = aP; SfiD[i] += (1 - relax) aP fiD[i]. Reports
    // "Calc_MeltFrontTemp_FinalCoeff failed".
    int Calc_MeltFrontTemp_FinalCoeff(int nnu, int new_nnu, int NColumnPerRow, double relax, double* fiD,
                                      double* AELLD, double* SfiD, int blocks);
    // result = max over cells of |fiD - SvD| (SvD: the previous outer
    // iteration's field), by the two-level maximum reduction of the field
    // statistics with the level table of GetSizeOfBlock(nCells) and
    // `buffer` (total doubles, cleared first); the result arrives by a
    // blocking copy. Only the first kernel is checked ("Calc_Calc_MeltFrontTemp_CheckOuterConvergence
    // failed") and its status returned.
    int Calc_MeltFrontTemp_CheckOuterConvergence(int nCells, double* fiD, double* SvD, double* buffer, int grid,
                                                 int nLevels, const int* count, const int* offset, int total,
                                                 const int* size, double& result);
    // Sampling: a cell not yet sampled (bMeltFrontTemperatureD false) whose
    // volume fraction crosses FCRI in this step (VolF0D < FCRI <= VolFD)
    // takes MeltFrontTemperatureD = dp_dxD (the caller passes the
    // front-temperature field there); with iFlag = 1 every cell not yet
    // sampled follows dp_dxD; others keep their value.
    // bMeltFrontTemperatureD |= crossed: a cell is sampled once, and keeps
    // its sample if its volume fraction later drops below FCRI and crosses
    // it again; clearing the flags is the caller's. Reports
    // "Calc_Calc_ComputeMeltFrontTemperature failed".
    int Calc_ComputeMeltFrontTemperature(int nCells, double* VolFD, double* VolF0D, double* MeltFrontTemperatureD,
                                         bool* bMeltFrontTemperatureD, double* dp_dxD, double FCRI, int iFlag,
                                         int blocks);
    // @ENERGY-EXTENDED-END

    // ---------------------------------------------------------------------
    // Material properties and field statistics
    // ---------------------------------------------------------------------
    // @MATERIAL-BEGIN
    // Shear rate of each cell from its nine velocity-gradient components,
    // sqrt(0.5*(a^2+d^2+f^2+2b^2+2c^2+2e^2)) with a = 2du/dx, b = dv/dx+du/dy,
    // c = dw/dx+du/dz, d = 2dv/dy, e = dw/dy+dv/dz, f = 2dw/dz, under-relaxed
    // into SRateD: SRateD += SRRelax*(rate - SRateD). One launch of `grid`
    // blocks; reads 10 and writes 1 double per cell. Reports "Calc_ShearRate
    // failed". Nothing is validated.
    int Calc_ShearRate(int nCells, double SRRelax, double* du_dxD, double* du_dyD, double* du_dzD, double* dv_dxD,
                       double* dv_dyD, double* dv_dzD, double* dw_dxD, double* dw_dyD, double* dw_dzD, double* SRateD,
                       int grid);
    // Copies each listed cell's value to its boundary slot: fiD[ijD[i]] =
    // fiD[ijCVD[i]] for the nFaces list entries. One launch; reports
    // "Calc_UpdateBoundary_const failed". Indices are not validated.
    int Calc_UpdateBoundary_const(int nFaces, int* ijD, int* ijCVD, double* fiD, int grid);
    // Melt viscosity of each cell from rheological model VisModel (1 constant,
    // 2 power law with Arrhenius, 4 Modified Cross with Arrhenius, 5 Cross-WLF,
    // 10 Castro-Macosko, 11 conversion-dependent power law, 12 Castro-Macosko
    // with Cross thinning, 13 power law with WLF shift, gel factor and yield
    // term, 100/101 as 2/4 with the activation temperature capped at 20000
    // outside MeltT +- 30, 102 banded Cross-WLF without D1) with the
    // parameters RheoModParaD[1..] (a device array; entry 0 is not read),
    // written to visnewD. The state: shear rate max(SRateD+1e-30, 0.1) (0.1
    // when lGNF = 0), raised to ShearR_Inlet in hot-runner cells (== 1);
    // temperature TD clamped to [MeltT-100, MeltT+50] except in reactive
    // moulding (MoldingType 2, which also reads the conversion RxnCD), taken
    // as max(MeltT, MoldT) in unfilled cells (VolFD < FCRI), plus 273.0;
    // RIM_visg = 1 evaluates every cell at MoldT, rate 10 and InitRxnC. Any
    // other model number leaves visnewD unchanged. One launch; reports
    // "CalcVis_Flow failed". Parameters are not validated (a zero tau* or a
    // non-positive D1 gives inf/NaN).
    int CalcVis_Flow(int nCells, int RIM_visg, int lGNF, int MoldingType, double MeltT, double FCRI,
                     double ShearR_Inlet, double InitRxnC, double MoldT, int VisModel, double* TD, double* pD,
                     double* SRateD, double* VolFD, int* HotRunnerCellD, double* RxnCD, double* visnewD,
                     double* RheoModParaD, int grid);
    // Specific heat of each cell: CpModel 1 gives CpModParaD[1]; 2, 3 and 4
    // interpolate linearly in the (value, temperature) pairs CpModParaD[1..N],
    // N = NMatModParVar_3, the temperature clamped to the table's range (a
    // table of one pair gives its value). Other models leave CpNewD
    // unchanged. Note the order: output, then table. One launch; reports
    // "CalcCp_Flow failed". Temperatures must be strictly increasing (not
    // validated: a repeated temperature divides by zero).
    int CalcCp_Flow(int nCells, int CpModel, int NMatModParVar_3, double* TD, double* CpNewD, double* CpModParaD,
                    int grid);
    // Thermal conductivity, as CalcCp_Flow with kModParaD and N =
    // NMatModParVar_4. Note the order: table, then output. Reports
    // "Calck_Flow failed".
    int Calck_Flow(int nCells, int kModel, int NMatModParVar_4, double* TD, double* kModParaD, double* kNewD,
                   int grid);
    // Effective viscosity, density and conductivity of each two-phase cell,
    // alpha = VolFD: eta = visnewD clamped to [visg, VisTopLimit] (the upper
    // bound wins if they cross); a filled cell mixes eta with a gas viscosity
    // max(eta/1000, visg), an unfilled one VisMeltAvg with max(VisMeltAvg/100,
    // visg); density mixes denl/deng and conductivity kNewD/mkg; each is
    // relaxed by VisRelax into visD, denD, mkD. CpNewD is accepted and not
    // read. One launch; reports "Calc_VisDenMk failed". Nothing is validated.
    int Calc_VisDenMk(int nCells, double VisTopLimit, double visg, double FCRI, double VisMeltAvg, double VisRelax,
                      double denl, double deng, double mkg, double* visnewD, double* CpNewD, double* kNewD,
                      double* VolFD, double* visD, double* denD, double* mkD, int grid);

    // Field statistics. Each is a multi-level reduction with the level table
    // of GetSizeOfBlock for its element count (nLevels, count, offset, total,
    // size) and one partial-result buffer of `total` doubles per reduced
    // quantity: the buffers are cleared, `grid` blocks of 256 elements write
    // one partial result each, nLevels-2 collecting passes of 512 entries per
    // block reduce them, and a blocking copy brings the value at
    // offset[nLevels-2] into the host result. Maxima keep the left value
    // unless the right one is larger; minima take the right value when the
    // left one is larger; positions past the element count take no part.
    // A failed first-level launch is reported (message below); the
    // collecting passes and copies still run and are not checked. Returns the
    // first-level status. The table must belong to the element count (not
    // validated).

    // Largest shear rate over the inlet faces: SRateD[ijInletD[i]].
    // Reports "Calc_Calc_MaxSRate failed".
    int Calc_MaxSRate(int nInletFaces, int* ijInletD, double* SRateD, double* buffer, int grid, int nLevels,
                      const int* count, const int* offset, int total, const int* size, double& SRmaxInlet);
    // The two sums sum(VolFD*visD) and sum(VolFD) whose quotient is the mean
    // melt viscosity VisMeltAvg. Reports "Calc_Calc_Sum_VisMeltAvg_voltmp
    // failed".
    int Calc_Sum_VisMeltAvg_voltmp(int nCells, double* VolFD, double* visD, double* buffer1, double* buffer2,
                                   int grid, int nLevels, const int* count, const int* offset, int total,
                                   const int* size, double& sumVisVol, double& sumVol);
    // Largest visD over all cells and smallest over filled cells (VolFD >=
    // FCRI); with no filled cell vismin is 1e30. Reports
    // "Calc_Calc_vismax_vismin failed".
    int Calc_vismax_vismin(int nCells, double FCRI, double* visD, double* VolFD, double* maxBuffer,
                           double* minBuffer, int grid, int nLevels, const int* count, const int* offset, int total,
                           const int* size, double& vismax, double& vismin);
    // Range of the temperature. Reports "Calc_Calc_Tmax_Tmin failed".
    int Calc_Tmax_Tmin(int nCells, double* TD, double* maxBuffer, double* minBuffer, int grid, int nLevels,
                       const int* count, const int* offset, int total, const int* size, double& Tmax, double& Tmin);
    // Range of the shear rate. Reports "Calc_Calc_SRmax_SRmin failed".
    int Calc_SRmax_SRmin(int nCells, double* SRateD, double* maxBuffer, double* minBuffer, int grid, int nLevels,
                         const int* count, const int* offset, int total, const int* size, double& SRmax,
                         double& SRmin);
    // Range of the pressure. Reports "Calc_Calc_Pmax_Pmin failed".
    int Calc_Pmax_Pmin(int nCells, double* PD, double* maxBuffer, double* minBuffer, int grid, int nLevels,
                       const int* count, const int* offset, int total, const int* size, double& Pmax, double& Pmin);
    // Largest max(|u|, |v|, |w|) over filled cells (VolFD >= FCRI); unfilled
    // cells enter as 1e-30, so with no filled cell Umax is 1e-30. Reports
    // "Calc_Calc_Umax failed".
    int Calc_Umax(int nCells, double FCRI, double* VolFD, double* uD, double* vD, double* wD, double* buffer,
                  int grid, int nLevels, const int* count, const int* offset, int total, const int* size,
                  double& Umax);
    // @MATERIAL-END

    // @FIBRE-BEGIN
    // ---------------------------------------------------------------------
    // Fibre orientation: transport of the six components of the orientation
    // tensor (xx, yy, zz, xy, xz, yz) and their local evolution under the
    // velocity gradient
    // ---------------------------------------------------------------------
    //
    // Transport: the six component equations share one matrix AELLD and
    // have six right-hand sides bxxD .. byzD, which every step accumulates
    // into (the caller zeroes them once per time step). Grids are block
    // counts of 256 threads. A failed launch is reported with its message;
    // the remaining launches still run; the status of the last check is
    // returned. Indices, sizes and the denominators dtFiber and udf are not
    // validated. No two faces of one list may share a boundary slot.

    // First-order upwind coefficients with their matrix sign, from the face
    // mass flux m: aED = m when m <= 0 else 0, aWD = -m when m > 0 else 0.
    // The caller places them into AELLD. Reports "Calc_InnerFluxFiber
    // failed".
    int Calc_InnerFluxFiber(int nFaces, double* mfeD, double* aED, double* aWD, int faceGrid);
    // Fully implicit time term, rows 0 .. nnu-1: with a0 = V/dtFiber, each
    // right-hand side gains a0 times the old component and the diagonal
    // gains a0. Reports "Calc_Fiber_UnsteadyTermContribution failed".
    int Calc_Fiber_UnsteadyTermContribution(int nnu, double* volumeD, double dtFiber, double* AELLD, double* bxxD,
                                            double* byyD, double* bzzD, double* bxyD, double* bxzD, double* byzD,
                                            double* Tauxx0D, double* Tauyy0D, double* Tauzz0D, double* Tauxy0D,
                                            double* Tauxz0D, double* Tauyz0D, int cellGrid);
    // Inlet faces: the boundary tensor at ijInletD becomes isotropic (1/3
    // on the diagonal, 0 off it) whatever the flux; with the inflow a =
    // min(MassFluxInletD, 0), CBD = a and the per-face sources tempb are
    // -a/3 (diagonal) and 0 (off-diagonal). Each component's sources are
    // then stored in the faces' slots of AELLDtemp (slot maps Px/Py) and
    // the row sums of the rows Map2CellPD[0 .. nCells) added to its
    // right-hand side, in the order xx .. yz; the slots are overwritten, not
    // cleared. Messages "Calc_Fiber_InletBoundary failed", then for each
    // component "Calc_Fiber_InletBC_bxx failed",
    // "Calc_Fiber_InletBC_bxx_Update failed" (byy, bzz, bxy, bxz, byz
    // likewise). Costs 13 launches.
    int Calc_Fiber_InletBoundary(int nFaces, int nCells, int new_nnu, int NColumnPerRow, int* ijInletD,
                                 double* MassFluxInletD, double* CBD, double* tempbxxD, double* tempbyyD,
                                 double* tempbzzD, double* tempbxyD, double* tempbxzD, double* tempbyzD,
                                 double* bxxD, double* byyD, double* bzzD, double* bxyD, double* bxzD, double* byzD,
                                 double* TauxxD, double* TauyyD, double* TauzzD, double* TauxyD, double* TauxzD,
                                 double* TauyzD, int* MapFace2CellPxD, int* MapFace2CellPyD, double* AELLDtemp,
                                 int* Map2CellPD, int faceGrid, int cellGrid);
    // The inlet cells' diagonals gain the inflow magnitude -CBD (rows
    // Map2CellPD[0 .. nCells)). With Calc_Fiber_InletBoundary the inflow
    // enters every component equation as |m| times the isotropic value.
    // Messages "Calc_Fiber_InletAi failed", "Calc_Fiber_InletAi_Update_Opt
    // failed".
    int Calc_Fiber_InletAi(int nFaces, int nCells, int new_nnu, int NColumnPerRow, int* MapFace2CellPxD,
                           int* MapFace2CellPyD, double* CBD, double* AELLDtemp, double* AELLD, int* Map2CellPD,
                           int faceGrid, int cellGrid);
    // Under-relaxed diagonal, rows 0 .. nnu-1: d = (AELLD[r] - sum of the
    // off-diagonal entries) / udf replaces the diagonal, and each right-hand
    // side gains (1 - udf) d times the current component. It relaxes
    // whatever diagonal AELLD holds when called. Reports
    // "Calc_Fiber_FinalCoeff failed".
    int Calc_Fiber_FinalCoeff(int nnu, int new_nnu, int NColumnPerRow, double udf, double* TauxxD, double* TauyyD,
                              double* TauzzD, double* TauxyD, double* TauxzD, double* TauyzD, double* AELLD,
                              double* bxxD, double* byyD, double* bzzD, double* bxyD, double* bxzD, double* byzD,
                              int cellGrid);
    // Wall faces, with f = FCRIMatchD: each component at the boundary slot
    // becomes f tau[slot] + (tau[cell] when f = 0, else 0): an unwetted
    // wall (f = 1) keeps its own tensor, a wetted one takes its cell's.
    // Reports "Calc_Fiber_WallBC failed".
    int Calc_Fiber_WallBC(int nFaces, int* ijWallCVD, int* ijWallD, int* FCRIMatchD, double* TauxxD, double* TauyyD,
                          double* TauzzD, double* TauxyD, double* TauxzD, double* TauyzD, int faceGrid);
    // Symmetry faces: a boundary slot with VolFD[slot] >= FCRI takes its
    // cell's six components; others keep theirs. Reports
    // "Calc_Fiber_SymmBC failed".
    int Calc_Fiber_SymmBC(int nFaces, int* ijSymmCVD, int* ijSymmD, double* VolFD, double FCRI, double* TauxxD,
                          double* TauyyD, double* TauzzD, double* TauxyD, double* TauxzD, double* TauyzD,
                          int faceGrid);
    // Hand-over to the local evolution, cells 0 .. nCells-1: the diagonal
    // components clamped to [0, 1] and divided by their sum + 1e-30, the
    // off-diagonal ones clamped to [-0.5, 0.5] (a NaN passes), written to
    // x00D .. x05D. Reports "Calc_Fiber_UpdateTau_Input failed".
    int Calc_Fiber_UpdateTau_Input(int nCells, double* x00D, double* x01D, double* x02D, double* x03D, double* x04D,
                                   double* x05D, double* TauxxD, double* TauyyD, double* TauzzD, double* TauxyD,
                                   double* TauxzD, double* TauyzD, int cellGrid);
    // Hand-back: the same clamping and normalisation of x10D .. x15D written
    // to TauxxD .. TauyzD. Reports "Calc_Fiber_UpdateTau_Output failed".
    int Calc_Fiber_UpdateTau_Output(int nCells, double* x10D, double* x11D, double* x12D, double* x13D,
                                    double* x14D, double* x15D, double* TauxxD, double* TauyyD,
                                    double* TauzzD, double* TauxyD, double* TauxzD, double* TauyzD, int cellGrid);

    // Local evolution of the orientation over the time step dtt for the
    // cells g = startPosition + k, k < nActive (local number l = k), by the
    // Folgar-Tucker equation
    //   da/dt = (W.a - a.W) + lambda (D.a + a.D - 2 C) + 2 CI gammaDot (I - 3a),
    // L_ij = du_i/dx_j, D and W its symmetric and skew parts, lambda =
    // (AR^2 - 1)/(AR^2 + 1), gammaDot = SRateD, and the closure C = a4:D of
    // Fiber422Type (s = a:D): 1 linear, 2 quadratic a s, 3 hybrid
    // (weight f = clamp(1 - 27 det a, 0, 1) on the quadratic), 4
    // 0.2 (2 I s + 6 a.D.a - a s - 2 I q) with q = sum a_kl^2 D_kl, any
    // other value none. Cells with VolFD < FCRI do not change.
    //
    // Each cell starts from x0 with a step of dtt. Sub-steps (at most 1000
    // per call) iterate the implicit midpoint rule by fixed-point passes
    // (at most 10): the rate at (x1 + x2)/2, with the state clamped, gives
    // the increment dx; when its largest component exceeds 0.01 the step is
    // shortened to 0.01 / |rate| (no shorter than 0.01 dtt, no longer than
    // the time left); x2 = x1 + dx, clamped. A cell leaves the inner loop
    // when x2 changed by at most 0.001 between passes. Then x2 is accepted
    // into x1 (x10D .. x15D, the result, local), dtSUMD advances, dt02D
    // holds the time left and the next step doubles up to it; a cell with
    // at most 1e-10 left is done. x2 (x20D .. x25D) is indexed by the global
    // number like x0, the other state arrays by the local one.
    //
    // Work lists: ThreadCellMapForGlobalD/ForLocalD (inner loop) and
    // ThreadCellMap2ForGlobalD/ForLocalD (outer loop), int arrays of at
    // least localLength entries; a finished entry holds the sentinel
    // NInnerCells, which must exceed every global and local number; the
    // lists are compacted by an ascending sort after each pass, and the
    // later passes launch only the blocks their entries fill. The record
    // F0dxxAvgD must hold the addresses of the F0, dx and xAvg arrays passed
    // here. The two int scratch buffers hold `total` entries of the level
    // table (nLevels, count, offset, total, size) whose first level has an
    // entry per block of grid256; grid64 and grid256 cover nActive entries
    // in blocks of 64 and 256 threads. None of this is validated.
    //
    // Costs per pass three launches over the remaining entries, the clearing
    // and collecting launches of the count, a blocking 4-byte copy and two
    // sorts of the remaining entries; per sub-step the acceptance over the
    // whole grid, its collecting launches, copy and sorts. Messages
    // "Calc_Fiber_Find_x1_Vec_AltStart failed",
    // "Calc_Fiber_Find_x1_Vec_AltInnerLoop_xtemp_xAvg failed",
    // "Calc_Fiber_Find_x1_Vec_AltInnerLoop_F0dxmax failed",
    // "Calc_Fiber_Find_x1_Vec_AltInnerLoop_x2errXmax failed",
    // "Calc_Fiber_Find_x1_Vec_AltOuterLoop failed"; the collecting launches,
    // copies and sorts are not checked. Returns the status of the last
    // acceptance (of the start when no cell was active).
    int Calc_Fiber_Find_x1_Vec(int nActive, int NInnerCells, int localLength, int startPosition,
                               stF0_dx_xAvg* F0dxxAvgD, double* x00D, double* x01D, double* x02D, double* x03D,
                               double* x04D, double* x05D, double* x20D, double* x21D, double* x22D, double* x23D,
                               double* x24D, double* x25D, double* x10D, double* x11D, double* x12D, double* x13D,
                               double* x14D, double* x15D, double* xtemp0D, double* xtemp1D, double* xtemp2D,
                               double* xtemp3D, double* xtemp4D, double* xtemp5D, double* xAvg0D, double* xAvg1D,
                               double* xAvg2D, double* xAvg3D, double* xAvg4D, double* xAvg5D, double* F0xxD,
                               double* F0yyD, double* F0zzD, double* F0xyD, double* F0xzD, double* F0yzD,
                               double* dx0D, double* dx1D, double* dx2D, double* dx3D, double* dx4D, double* dx5D,
                               double* dt01D, double* dt02D, double* dtSUMD, double* F0maxD, double dtt,
                               double* SRateD, double* VolFD, double* du_dxD, double* du_dyD, double* du_dzD,
                               double* dv_dxD, double* dv_dyD, double* dv_dzD, double* dw_dxD, double* dw_dyD,
                               double* dw_dzD, int* ThreadCellMapForGlobalD, int* ThreadCellMapForLocalD,
                               int* ThreadCellMap2ForGlobalD, int* ThreadCellMap2ForLocalD, double Fiber_AR,
                               double Fiber_CI, double FCRI, int Fiber422Type, int* localwhile1NextLevel_D,
                               int* localwhile2NextLevel_D, int grid64, int grid256, int nLevels, const int* count,
                               const int* offset, int total, const int* size);
    // @FIBRE-END

    // ---------------------------------------------------------------------
    // Volume fraction: donor Courant numbers, cell fill rate, fill-volume
    // bookkeeping and front update, the volume-fraction equation
    // ---------------------------------------------------------------------
    // @FILLING-BEGIN
    //
    // Face-to-cell sums: a per-face kernel writes each side's value, a
    // collect kernel stores it in the side's slot of AELLDtemp (the slot maps
    // Px/Py, Ex/Ey), an update kernel adds each row's sum over all
    // NColumnPerRow slots to the target. Targets are accumulated, never
    // overwritten: the caller zeroes CourantNoDD and CellFRD once per time
    // step. AELLDtemp is not cleared; a slot a face set does not write must
    // hold zero (the caller's clearing contract). Grids are block counts of
    // 256 threads: face grid, then cell grid. A failed launch is reported
    // with its message; the remaining launches still run; the status of the
    // last check is returned. Indices and sizes are not validated; the
    // donor Courant numbers do not guard a zero volume (inf or NaN).
    // max(x, 0) below keeps x only when it is strictly positive.

    // Donor Courant number: owner += max(m dt / V_P, 0), neighbour +=
    // max(-m dt / V_E, 0), rows 0 .. nnu-1. Messages
    // "Calc_CourantNoDonnorCell_temp failed", "Calc_CourantNoDonnorCell
    // failed", "Calc_CourantNoDonnorCell_Update failed".
    int Calc_CourantNoDonnorCell(int nFaces, int nnu, int new_nnu, int NColumnPerRow, int* ijCVPD, int* ijCVED,
                                 double dt, double* MassFluxD, double* volumeD, double* tempPD, double* tempED,
                                 double* CourantNoDD, int* MapFace2CellPxD, int* MapFace2CellPyD,
                                 int* MapFace2CellExD, int* MapFace2CellEyD, double* AELLDtemp, int faceGrid,
                                 int cellGrid);
    // Wall faces: cell += max(MassFluxWallD dt / V, 0) * FCRIMatchD, rows
    // Map2CellPD[0 .. nCells). Messages "Calc_CourantNoDonnorCell_Wall_temp
    // failed", "Calc_CourantNoDonnorCell_Wall failed",
    // "Calc_CourantNoDonnorCell_Wall_Update failed".
    int Calc_CourantNoDonnorCell_Wall(int nFaces, int nCells, int new_nnu, int NColumnPerRow, int* ijWallCVD,
                                      double dt, int* FCRIMatchD, double* MassFluxWallD, double* volumeD,
                                      int* MapFace2CellPxD, int* MapFace2CellPyD, double* tempD, double* AELLDtemp,
                                      double* CourantNoDD, int* Map2CellPD, int faceGrid, int cellGrid);
    // Cell fill rate, the total inflow mass flux: the owner gains -m when m
    // <= 0, the neighbour m when m > 0, rows 0 .. nnu-1. Messages
    // "Calc_CellFR_temp failed", "Calc_CellFR failed", "Calc_CellFR_Update
    // failed".
    int Calc_CellFR(int nFaces, int nnu, int new_nnu, int NColumnPerRow, double* MassFluxD, double* tempPD,
                    double* tempED, double* CellFRD, int* MapFace2CellPxD, int* MapFace2CellPyD,
                    int* MapFace2CellExD, int* MapFace2CellEyD, double* AELLDtemp, int faceGrid, int cellGrid);
    // Partition faces (flux positive out of the local cell): the local cell
    // gains -m when m <= 0; rows Par2CellPD[0 .. NPar2CellP). Messages
    // "Calc_CellFR_tempP failed", "Calc_CellFR_P failed",
    // "Calc_CellFR_Update_Par failed".
    int Calc_CellFR_Par(int nFaces, int NPar2CellP, int new_nnu, int NColumnPerRow, double* MassFluxD,
                        double* tempPD, double* CellFRD, int* MapFace2CellPxD, int* MapFace2CellPyD,
                        double* AELLDtemp, int* Par2CellPD, int faceGrid, int cellGrid);
    // pd_dt_Over_volumeD = dt_ / (volumeD + 1e-30) per cell. Reports
    // "Calc_VOF_FlowE_pd_dt_Over_volume failed".
    int Calc_VOF_FlowE_pd_dt_Over_volume(int nCells, double dt_, double* volumeD, double* pd_dt_Over_volumeD,
                                         int cellGrid);
    // As Calc_CourantNoDonnorCell with dt / V read from pd_dt_Over_volumeD.
    // Messages "Calc_VOF_FlowE_CourantNoDonnorCell_temp failed",
    // "Calc_VOF_FlowE_CourantNoDonnorCell failed",
    // "Calc_VOF_FlowE_CourantNoDonnorCell_Update failed".
    int Calc_VOF_FlowE_CourantNoDonnorCell(int nFaces, int nnu, int new_nnu, int NColumnPerRow, int* ijCVPD,
                                           int* ijCVED, double* MassFluxD, double* pd_dt_Over_volumeD,
                                           double* tempPD, double* tempED, double* CourantNoDD,
                                           int* MapFace2CellPxD, int* MapFace2CellPyD, int* MapFace2CellExD,
                                           int* MapFace2CellEyD, double* AELLDtemp, int faceGrid, int cellGrid);
    // Wall faces: cell += max(MassFluxOutletD * pd_dt_Over_volumeD, 0) when
    // the face is open: its boundary value VolFD[ijWallD] < fcri, or
    // piIsOutletD > 0, or isMoveWallD = 1 with iICM_Status = 1 and the value
    // > fcri. IsMainPhase, iFAIMFluidIn and mftimeD are accepted and not
    // read. Messages "Calc_VOF_FlowE_CourantNoDonnorCell_Wall_temp failed",
    // "Calc_VOF_FlowE_CourantNoDonnorCell_Wall failed",
    // "Calc_VOF_FlowE_CourantNoDonnorCell_Wall_Update failed".
    int Calc_VOF_FlowE_CourantNoDonnorCell_Wall(int nFaces, int nCells, int new_nnu, int NColumnPerRow, double fcri,
                                                int IsMainPhase, int iFAIMFluidIn, int iICM_Status, int* ijWallCVD,
                                                int* ijWallD, int* piIsOutletD, int* isMoveWallD, double* VolFD,
                                                float* mftimeD, double* MassFluxOutletD, double* pd_dt_Over_volumeD,
                                                int* MapFace2CellPxD, int* MapFace2CellPyD, double* tempD,
                                                double* AELLDtemp, double* CourantNoDD, int* Map2CellPD,
                                                int faceGrid, int cellGrid);
    // Inlet faces that are not active (gpInletbInD = 0) and whose boundary
    // value is below fcri: cell += max(MassFluxInletD * pd_dt_Over_volumeD,
    // 0). IsMainPhase, iFAIMFluidIn and mftimeD are accepted and not read.
    // Messages "Calc_VOF_FlowE_CourantNoDonnorCell_Inlet_UNF failed", then
    // the collect and update messages of the wall form.
    int Calc_VOF_FlowE_CourantNoDonnorCell_Inlet_UNF(int nFaces, int nCells, int new_nnu, int NColumnPerRow,
                                                     double fcri, int IsMainPhase, int iFAIMFluidIn,
                                                     int* ijInletCVD, int* ijInletD, int* gpInletbInD,
                                                     double* VolFD, float* mftimeD, double* MassFluxInletD,
                                                     double* pd_dt_Over_volumeD, int* MapFace2CellPxD,
                                                     int* MapFace2CellPyD, double* tempD, double* AELLDtemp,
                                                     double* CourantNoDD, int* Map2CellPD, int faceGrid,
                                                     int cellGrid);
    // Partition faces: local cell += max(MassFluxParD * pd_dt_Over_volumeD,
    // 0), rows Map2CellPD[0 .. nCells). Messages
    // "Calc_VOF_FlowE_CourantNoDonnorCell_Par_temp failed",
    // "Calc_VOF_FlowE_CourantNoDonnorCell_Par failed",
    // "Calc_VOF_FlowE_CourantNoDonnorCell_Par_Update failed".
    int Calc_VOF_FlowE_CourantNoDonnorCell_Par(int nFaces, int nCells, int new_nnu, int NColumnPerRow,
                                               int* ijCVPParD, double* MassFluxParD, double* pd_dt_Over_volumeD,
                                               double* tempPD, double* CourantNoDD, int* MapFace2CellPxD,
                                               int* MapFace2CellPyD, double* AELLDtemp, int* Map2CellPD,
                                               int faceGrid, int cellGrid);
    // The same with max(MassFluxParD dt / V, 0); the first message is
    // "Calc_VOF_Flow_CourantNoDonnorCell_Par_temp failed".
    int Calc_VOF_Flow_CourantNoDonnorCell_Par(int nFaces, int nCells, int new_nnu, int NColumnPerRow,
                                              int* ijCVPParD, double* MassFluxParD, double dt, double* volumeD,
                                              double* tempPD, double* CourantNoDD, int* MapFace2CellPxD,
                                              int* MapFace2CellPyD, double* AELLDtemp, int* Map2CellPD,
                                              int faceGrid, int cellGrid);

    // Limiting and snapping of the volume fraction, one launch over the
    // cells. Each first clamps VolFD to [0, 1] (a NaN is left as it is).
    // Less: <= EMF becomes 0, then >= EMF1 becomes 1. Reports
    // "Calc_Vfconv_VolF_FillVol_Less failed".
    int Calc_Vfconv_VolF_FillVol_Less(int nCells, double* VolFD, double EMF, double EMF1, int grid);
    // More: < EMF becomes 0, then >= FCRI becomes 1. Reports
    // "Calc_Vfconv_VolF_FillVol_More failed".
    int Calc_Vfconv_VolF_FillVol_More(int nCells, double* VolFD, double EMF, double FCRI, int grid);
    // Update: < EMF becomes 0, then >= FCRI becomes 1 only in a cell whose
    // arrival time MFD is recorded (>= 1e-30). Reports
    // "Calc_Vfconv_VolF_Update failed".
    int Calc_Vfconv_VolF_Update(int nCells, double* VolFD, float* MFD, double EMF, double FCRI, int grid);
    // Arrival times: MFD = Time (as float) in every cell with MFD = 0 and
    // VolFD >= FCRI; recorded times stay. Reports
    // "Calc_Vfconv_RecordIsoFilledSurface failed".
    int Calc_Vfconv_RecordIsoFilledSurface(int nCells, double Time, double FCRI, float* MFD, double* VolFD,
                                           int grid);
    // VolFD = Value in cells 0 .. nCells-1. Reports
    // "Calc_ResetVolFToSpecificValue failed".
    int ResetVolFToSpecificValue(int nCells, double* VolFD, double Value, int grid);
    // Volume correction: every front cell (VolFD > FCRI - 0.2) gains the
    // volume dvol, VolFD = min(VolFD + dvol / (V + 1e-30), 1); no lower
    // bound for a negative dvol. Reports "Calc_FVolUpdate_Update_VolF
    // failed".
    int Calc_FVolUpdate_UpdateVolF(int nCells, double dvol, double FCRI, double* VolFD, double* volumeD, int grid);

    // Fill statistics, reductions as the field statistics above (a cleared
    // buffer of `total` elements, collecting passes of 512 entries, the
    // first-level status returned, the table for nCells not validated).
    // Filled volume sum(VolFD * volumeD). Reports "Calc_FVolUpdate_FillVol
    // failed".
    int Calc_FVolUpdate_FillVol(int nCells, double* VolFD, double* volumeD, double* buffer, int grid, int nLevels,
                                const int* count, const int* offset, int total, const int* size, double& FillVol);
    // Number of cells with VolFD < FCRI; an int buffer. Reports
    // "Calc_FVolUpdate_UnFilledCells failed".
    int Calc_FVolUpdate_UnFilledCells(int nCells, double FCRI, double* VolFD, int* buffer, int grid, int nLevels,
                                      const int* count, const int* offset, int total, const int* size,
                                      int& UnFilledCells);
    // Number of front cells, VolFD > FCRI - 0.2; an int buffer. Reports
    // "Calc_FVolUpdate_nfront failed".
    int Calc_FVolUpdate_nfront(int nCells, double FCRI, double* VolFD, int* buffer, int grid, int nLevels,
                               const int* count, const int* offset, int total, const int* size, int& nfront);
    // The volume-fraction equation of one time step. Upwind face
    // coefficients with their matrix sign (aED = m when m <= 0, aWD = -m
    // when m > 0, from mfeD) and the CICSAM blending factor BetafD of each
    // face: donor D the owner when m >= 0; far-upwind value phi_U = phi_A -
    // 2 d.grad(phi)_D clamped to [0, 1]; normalised donor value; the
    // convection-boundedness and ULTIMATE-QUICKEST bounds with the donor's
    // Courant number CourantNoD, weighted by 0.8 cos^2 of the angle between
    // d and the donor gradient. In the same pass, the two front sums over
    // faces whose donor value lies within 0.2 of FCRI (strictly): CeMax =
    // sum Co_D V_D and FrontVol = sum V_D, reduced with the level table of
    // nFaces in the two scratch buffers (`total` doubles each, cleared
    // here; collecting passes of 512 entries) and copied to the host. The
    // unnamed arguments keep the host solver's order and are not read.
    // Messages "Calc_InnerFluxVolF_aEaW failed",
    // "Calc_InnerFluxVolF_Betaf_temp_CeMax failed"; returns the status of
    // the blending-factor launch. Distinct cell centres are required (the
    // angle divides by |d| unguarded).
    int Calc_InnerFluxVolF(int nFaces, int, int, int, int* ijCVPD, int* ijCVED, double* CourantNoD, double* dVF_dxD,
                           double* dVF_dyD, double* dVF_dzD, double* xcD, double* ycD, double* zcD, double* VolFD,
                           double* volumeD, double* BetafD, double* mfeD, double* aED, double* aWD, double*,
                           double* tempD, double* CeMaxNextLevel_D, double* FrontVolNextLevel_D, int*, int*, int*,
                           int*, double*, double FCRI, int, int faceGrid, int nLevels, const int* count,
                           const int* offset, int total, const int* size, double& CeMax, double& FrontVol);
    // The partition-face form: aED only ("Calc_InnerFluxVolF_aE failed"),
    // otherwise as Calc_InnerFluxVolF.
    int Calc_InnerFluxVolF_Par(int nFaces, int, int, int, int* ijCVPD, int* ijCVED, double* CourantNoD,
                               double* dVF_dxD, double* dVF_dyD, double* dVF_dzD, double* xcD, double* ycD,
                               double* zcD, double* VolFD, double* volumeD, double* BetafD, double* mfeD, double* aED,
                               double*, double* tempD, double* CeMaxNextLevel_D, double* FrontVolNextLevel_D, int*,
                               int*, int*, int*, double*, int*, double FCRI, int, int faceGrid, int nLevels,
                               const int* count, const int* offset, int total, const int* size, double& CeMax,
                               double& FrontVol);
    // Inlet faces (listed rows Map2CellPD): the boundary value VolFD[ijInletD]
    // becomes MELT whatever the flux; with a = min(MassFluxInletD, 0), SuD
    // gains -a MELT and CellFRD gains -a, and CBD = a. Clears all of
    // AELLDtemp between the two sums. Messages
    // "Calc_Vfconv_InletBC_CellFRtemp_Sutemp_CB failed",
    // "Calc_Vfconv_InletBC_Su failed", "Calc_Vfconv_InletBC_Su_Update
    // failed", "Calc_Vfconv_InletBC_CellFR failed",
    // "Calc_Vfconv_InletBC_CellFR_Update failed".
    int Calc_Vfconv_InletBC_CellFR_Su_CB(int nFaces, int nCells, int new_nnu, int NColumnPerRow, int* ijInletD,
                                         double* MassFluxInletD, double* VolFD, double MELT, double* tempSuD,
                                         double* tempCellFRD, double* CBD, double* SuD, double* CellFRD,
                                         int* MapFace2CellPxD, int* MapFace2CellPyD, double* AELLDtemp,
                                         int* Map2CellPD, int faceGrid, int cellGrid);
    // The inlet cells' diagonals gain -CBD. Messages "Calc_Vfconv_InletAi
    // failed", "Calc_Vfconv_InletAi_Update_Opt failed".
    int Calc_Vfconv_InletAi(int nFaces, int nCells, int new_nnu, int NColumnPerRow, int* MapFace2CellPxD,
                            int* MapFace2CellPyD, double* CBD, double* AELLDtemp, double* AELLD, int* Map2CellPD,
                            int faceGrid, int cellGrid);
    // Crank-Nicolson time term, rows 0 .. nnu-1: the off-diagonal entries
    // are halved in place (a second call halves them again), the diagonal
    // gains a0 = V/dt, and SuD gains S VolF0D[r] - sum(half_j
    // VolF0D[indexELLD_j]) with S = a0 + sum of the halved entries (empty
    // columns, index -1, add nothing to the second sum). dt > 0 is not
    // checked. Reports "Calc_Vfconv_UnsteadyTermContribution failed".
    int Calc_Vfconv_UnsteadyTermContribution(int nnu, int new_nnu, int NColumnPerRow, double* volumeD, double dt,
                                             double* AELLD, double* SuD, double* VolF0D, int* indexELLD,
                                             int cellGrid);
    // Under-relaxed diagonal, rows 0 .. nnu-1: diag = (AD - sum of the
    // off-diagonal entries) / relax replaces the diagonal, SfiD += (1 -
    // relax) diag VolFD. It overwrites what earlier steps added to the
    // diagonal. relax > 0 is not checked. Reports "Calc_Vfconv_FinalCoeff
    // failed".
    int Calc_Vfconv_FinalCoeff(int nnu, int new_nnu, int NColumnPerRow, double relax, double* VolFD, double* AELLD,
                               double* AD, double* SfiD, int cellGrid);
    // Zero-gradient boundary values: VolFD[ijWallD] = VolFD[ijWallCVD].
    // Reports "Calc_Vfconv_VolF_WallBC failed".
    int Calc_Vfconv_VolF_WallBC(int nFaces, int* ijWallCVD, int* ijWallD, double* VolFD, int grid);
    // The same on symmetry planes. Reports "Calc_Vfconv_VolF_Symm failed".
    int Calc_Vfconv_VolF_Symm(int nFaces, int* ijSymmCVD, int* ijSymmD, double* VolFD, int grid);
    // Face values from the blending factors: donor D (the owner when
    // MassFluxD >= 0) and acceptor A, VFeD = clamp((1 - beta)(phi_D +
    // phi0_D)/2 + beta (phi_A + phi0_A)/2, 0, 1). Reports
    // "Calc_Vfconv_UpdateCellFaceValue failed".
    int Calc_Vfconv_UpdateCellFaceValue(int nFaces, int* ijCVPD, int* ijCVED, double* MassFluxD, double* BetafeD,
                                        double* VolFD, double* VolF0D, double* VFeD, int grid);
    // @FILLING-END

    // ---------------------------------------------------------------------
    // Extended volume fraction: interface-capturing schemes, compression-
    // corrected flux with deferred correction and front statistics, the
    // time term; inlets of either fluid, moving walls, keep-filled rules,
    // limiting and snapping, arrival times and the end-of-filling test
    // ---------------------------------------------------------------------
    // @FILLING-EXTENDED-BEGIN
    //
    // Conventions as in the volume-fraction section above: grids are block
    // counts of 256 threads, face-to-cell sums go through the slots of
    // AELLDtemp (a slot no face of the call writes must hold zero), a
    // failed launch is reported with its message and the remaining launches
    // still run, the status of the last check is returned. Indices, sizes
    // and level tables are not validated; no two faces of one call may share
    // a boundary slot.

    // Face value FeD and blending factor BetafD of every interior face by
    // the scheme HRScheme: 0 or 1 CICSAM (angle weight 0.8 cos^2, reads the
    // donor Courant number CourantNoDD), 2 its Courant-free variant
    // (bounds min(2x, 1), min(x + 1/4, .), weight |cos|^(1/4)), 3 HRIC
    // (bound 2x / 1, weight sqrt|cos|, drawn back to upwind between donor
    // Courant numbers 0.3 and 0.7), 4 its Courant-free variant (bounds 2x /
    // 1 and min((6x + 3)/8, .), weight 0.8 sqrt(cos) for cos > 0). Donor D
    // is the owner when mfeD >= 0; x is the normalised donor value between
    // the far-upwind value clamp(phi_A - 2 d.grad(phi)_D, 0, 1) and the
    // acceptor; x outside [0, 1] gives beta = 0. FeD = clamp((1 - beta)
    // phi_D + beta phi_A, 0, 1). Another HRScheme runs nothing and returns
    // 0. One face launch (about 17 doubles and ints read per face, two
    // written). Messages "Calc_VOF_FlowE_InnerFlux_HRScheme_CICSAM failed"
    // (and _MCICSAM, _HRIC, _MHRIC). Distinct cell centres are required.
    int Calc_VOF_FlowE_InnerFlux_HRScheme(int nFaces, int* ijCVPD, int* ijCVED, int HRScheme, double* mfeD,
                                          double* VolFD, double* CourantNoDD, double* dVF_dxD, double* dVF_dyD,
                                          double* dVF_dzD, double* xcD, double* ycD, double* zcD, double* FeD,
                                          double* BetafD, int faceGrid);
    // Interior faces, one pass: the compression flux mc = 0.1 m c_f (1 -
    // FeD) (c_f the cosine between the face area vector and the face
    // gradient interpolated with leD; mc = 0 when |mc| > |m|) corrects the
    // flux to m' = m - mc; aED = min(m', 0), aWD = -max(m', 0); temp1D =
    // gamma (min(m', 0) phi_E + max(m', 0) phi_P - m' FeD) is added to
    // SourceD of the owner and subtracted from the neighbour's (rows 0 ..
    // nnu-1). Front statistics of the donor D by Method: 0 band |phi_D -
    // fcri| < CeBound, 1 band fcri - CeBound <= phi_D < 0.994 - both
    // return maxCe = sum Co_D V_D and FrontVol = sum V_D over the faces in
    // band; 2 and 3 the same bands, 4 every phi_D >= 0 - these return maxCe
    // = the largest of 0, the incoming maxCe and the donor Courant numbers
    // in band, FrontVol = the largest of 0, the incoming FrontVol and 1 if a
    // face is in band. Reduced with the level table of nFaces in the two
    // statistics buffers (`total` doubles each, cleared here). Another
    // Method writes no coefficients, still adds temp1D as it stands, and
    // returns 0 in both outputs. The two unnamed arrays are not read.
    // Cost: the face pass, the source collect and update, the first level
    // of the statistics and log256(nFaces) collecting passes, then two
    // blocking 8-byte copies.
    // Messages "Calc_VOF_FlowE_InnerFluxVolF_Method<M>_aEaWtemp123 failed",
    // "Calc_VOF_FlowE_InnerFluxVolF_SourceTerm failed" (collect and
    // update), "CalcPP_FlowE_MassSum failed" (first reduction level, whose
    // status is returned for Methods 0-4).
    int Calc_VOF_FlowE_InnerFluxVolF_Method(int Method, int nFaces, int nnu, int new_nnu, int NColumnPerRow,
                                            double gamma, double fcri, double CeBound, int* ijCVPD, int* ijCVED,
                                            double* mfeD, double* leD, double* sxD, double* syD, double* szD,
                                            double* VolFD, double* CourantNoDD, double* FeD, double* areaD,
                                            double* dVF_dxD, double* dVF_dyD, double* dVF_dzD, double* volumeD,
                                            int* MapFace2CellPxD, int* MapFace2CellPyD, int* MapFace2CellExD,
                                            int* MapFace2CellEyD, double* aED, double* aWD, double* temp1D,
                                            double* temp2D, double* temp3D, double* AELLDtemp, double* SourceD,
                                            int faceGrid, int cellGrid, double*, double*, double& maxCe,
                                            double& FrontVol, double* statistics1D, double* statistics2D,
                                            int nLevels, const int* count, const int* offset, int total,
                                            const int* size);
    // Partition faces: as above with the face area |S|, aWD not written,
    // and SourceD updated on the nCells rows of Map2CellPED only. Messages
    // "..._Method<M>_aEaWtemp123_Par failed",
    // "Calc_VOF_FlowE_InnerFluxVolF_SourceTerm failed" (collect),
    // "Calc_VOF_FlowE_InnerFluxVolF_SourceTerm_Par failed" (update),
    // "CalcPP_FlowE_MassSum failed".
    int Calc_VOF_FlowE_InnerFluxVolF_Method_Par(int Method, int nFaces, int nCells, int new_nnu, int NColumnPerRow,
                                                double gamma, double fcri, double CeBound, int* ijCVPParD,
                                                int* ijCVEParD, double* mfeParD, double* leParD, double* sxParD,
                                                double* syParD, double* szParD, double* VolFD, double* CourantNoDD,
                                                double* FeD, double* dVF_dxD, double* dVF_dyD, double* dVF_dzD,
                                                double* volumeD, int* MapFace2CellPxD, int* MapFace2CellPyD,
                                                int* MapFace2CellExD, int* MapFace2CellEyD, double* aED,
                                                double* temp1D, double* temp2D, double* temp3D, double* AELLDtemp,
                                                double* SourceD, int* Map2CellPED, int faceGrid, int cellGrid,
                                                double*, double*, double& maxCe, double& FrontVol,
                                                double* statistics1D, double* statistics2D, int nLevels,
                                                const int* count, const int* offset, int total, const int* size);
    // Crank-Nicolson time term as Calc_Vfconv_UnsteadyTermContribution,
    // with a0 = V / (dt + 1e-30); one launch over the rows. Reports
    // "Calc_VOF_FlowE_UnsteadyTermContribution failed".
    int Calc_VOF_FlowE_UnsteadyTermContribution(int nnu, int new_nnu, int NColumnPerRow, double* volumeD, double dt,
                                                double* AELLD, double* SuD, double* VolF0D, int* indexELLD,
                                                int cellGrid);

    // Injection flags of the inlet faces (active: gpInletbInD = 1; t the
    // material type of the face's group): judge1_2D active without second
    // fluid (iFAIMFluidIn = 0); with second fluid, judge3PD (main phase, t
    // 2 or 3), judge3ND (other phase, t 2 or 3), judge4PD (main phase, t
    // 1). Each flag is written true or false. The boundary slots take
    // their cells' gradients. One face launch. Reports
    // "Calc_VOF_FlowE_SetVOFInlet_judge failed".
    int Calc_VOF_FlowE_SetVOFInlet_judge(int nFaces, int iFAIMFluidIn, int IsMainPhase, int* ijInletCVD,
                                         int* ijInletD, int* gpInletbInD, int* ijInletGPD, int* gpInletGPMtrTypeD,
                                         double* dVF_dxD, double* dVF_dyD, double* dVF_dzD, bool* judge1_2D,
                                         bool* judge3PD, bool* judge3ND, bool* judge4PD, int faceGrid);
    // Inlet faces with judgeD inject `phase`: boundary value = phase; with
    // the inflow w = -min(mfeD, 0) the cell's diagonal AELLD gains w and
    // SourceD gains w phase (rows Map2CellPD[0 .. nCells)). Five launches:
    // the face kernel, then collect and update twice. Messages
    // "Calc_VOF_FlowE_SetVOFInlet failed", then for each of the two sums
    // "Calc_VOF_FlowE_SetVOFInlet_SourceTerm_Ponly failed" and
    // "Calc_VOF_FlowE_SetVOFInlet_AiUpdate_Opt failed" (diagonal) /
    // "Calc_VOF_FlowE_SetVOFInlet_UpdateSourceTerm_Opt failed" (source).
    int Calc_VOF_FlowE_SetVOFInlet(int nFaces, int nCells, int new_nnu, int NColumnPerRow, double phase,
                                   int* ijInletD, bool* judgeD, double* mfeD, double* VolFD, double* SourceD,
                                   double* AELLD, double* temp1D, double* temp2D, int* MapFace2CellPxD,
                                   int* MapFace2CellPyD, double* AELLDtemp, int faceGrid, int cellGrid,
                                   int* Map2CellPD);
    // All four flags at once: judge4PD, judge3ND and judge1_2D inject 1,
    // judge3PD injects 0 (boundary value by that precedence: 4P, 3N, 3P,
    // 1_2); the diagonal gains w per flag set, the source w per filling
    // flag. Messages as above with "Calc_VOF_FlowE_SetVOFInlet_All failed".
    int Calc_VOF_FlowE_SetVOFInlet_All(int nFaces, int nCells, int new_nnu, int NColumnPerRow, int* ijInletD,
                                       bool* judge1_2D, bool* judge3PD, bool* judge3ND, bool* judge4PD,
                                       double* mfeD, double* VolFD, double* SourceD, double* AELLD, double* temp1D,
                                       double* temp2D, int* MapFace2CellPxD, int* MapFace2CellPyD,
                                       double* AELLDtemp, int faceGrid, int cellGrid, int* Map2CellPD);
    // Moving walls (isMoveWallD = 1) whose boundary value exceeds fcri
    // inject MELT with the inflow w = -min(MassFluxOutletD, 0). ijWallCVD
    // is not read. Messages as above with "Calc_VOF_FlowE_ICM_UpdateAiSu
    // failed".
    int Calc_VOF_FlowE_ICM_UpdateAiSu(int nFaces, int nCells, int new_nnu, int NColumnPerRow, double fcri,
                                      double MELT, int* ijWallCVD, int* ijWallD, int* isMoveWallD,
                                      double* MassFluxOutletD, double* VolFD, double* SourceD, double* AELLD,
                                      double* temp1D, double* temp2D, int* MapFace2CellPxD, int* MapFace2CellPyD,
                                      double* AELLDtemp, int faceGrid, int cellGrid, int* Map2CellPD);
    // Inlet faces not injecting (gpInletbInD = 0) take their cells' phi,
    // CourantNoDD and gradient. Keep-filled rule (IsMainPhase = 1,
    // iFAIMFluidIn >= 1, face not injecting, VolF0D > fcri > VolFD of the
    // cell): the boundary value becomes 1. Then every listed row's VolFD
    // is overwritten by the largest of 0 and its faces' values (1 where
    // refilled, else the cell's value). Three launches: face kernel,
    // collect, row maximum. Messages "Calc_VOF_FlowE_InletBC
    // failed", "Calc_VOF_FlowE_InletBC_SourceTerm_Ponly failed",
    // "Calc_VOF_FlowE_InletBC_UpdateSourceTerm_Opt failed".
    int Calc_VOF_FlowE_InletBC(int nFaces, int nCells, int new_nnu, int NColumnPerRow, int iFAIMFluidIn,
                               int IsMainPhase, double fcri, int* ijInletCVD, int* ijInletD, int* gpInletbInD,
                               double* VolF0D, double* VolFD, double* CourantNoDD, double* dVF_dxD, double* dVF_dyD,
                               double* dVF_dzD, double* tempD, int* MapFace2CellPxD, int* MapFace2CellPyD,
                               double* AELLDtemp, int faceGrid, int cellGrid, int* Map2CellPD);
    // The keep-filled rule on wall faces, without phase or injection tests.
    // Messages "Calc_VOF_FlowE_WallBC_FAIM_MainPhase failed", then the two
    // of the inlet rule.
    int Calc_VOF_FlowE_WallBC_FAIM_MainPhase(int nFaces, int nCells, int new_nnu, int NColumnPerRow, double fcri,
                                             int* ijWallCVD, int* ijWallD, double* VolF0D, double* VolFD,
                                             double* tempD, int* MapFace2CellPxD, int* MapFace2CellPyD,
                                             double* AELLDtemp, int faceGrid, int cellGrid, int* Map2CellPD);
    // Zero-gradient walls: the slots take their cells' phi, CourantNoDD and
    // gradient. Reports "Calc_VOF_FlowE_WallBC failed".
    int Calc_VOF_FlowE_WallBC(int nFaces, int* ijWallCVD, int* ijWallD, double* VolFD, double* CourantNoDD,
                              double* dVF_dxD, double* dVF_dyD, double* dVF_dzD, int faceGrid);
    // The slots take their cells' gradient only. Reports under the message
    // "Calc_VOF_FlowE_SetVOFInlet_judge failed".
    int Calc_VOF_FlowE_Update_dVF_d(int nFaces, int* ijWallCVD, int* ijWallD, double* dVF_dxD, double* dVF_dyD,
                                    double* dVF_dzD, int faceGrid);

    // Limiting after the solve, per cell (clamp to [0, 1] first, a NaN
    // passes): with FillVol < 0.994 the Calc_Vfconv_VolF_FillVol_Less rule
    // (EMF, EMF1), else the _More rule (EMF, fcri); then the
    // Calc_Vfconv_VolF_Update rule (< EMF to 0, >= fcri to 1 only where
    // mftimeD is recorded). One cell launch. Reports
    // "Calc_VOF_FlowE_AdjustVof_DefaultUpwindScheme failed".
    int Calc_VOF_FlowE_AdjustVof_DefaultUpwindScheme(int nCells, double FillVol, double EMF, double EMF1,
                                                     double fcri, float* mftimeD, double* VolFD, int cellGrid);
    // The _Less rule, then >= fcri to 1 where mftimeD is recorded. Reports
    // "Calc_VOF_FlowE_AdjustVof_NoDefaultUpwindScheme failed".
    int Calc_VOF_FlowE_AdjustVof_NoDefaultUpwindScheme(int nCells, double EMF, double EMF1, double fcri,
                                                       float* mftimeD, double* VolFD, int cellGrid);
    // Arrival times: mftimeD = Time (as float) where mftimeD = 0 and VolFD
    // >= fcri. Reports "Calc_VOF_FlowE_Update_mftime failed".
    int Calc_VOF_FlowE_Update_mftime(int nCells, double fcri, double Time, double* VolFD, float* mftimeD,
                                     int cellGrid);
    // End-of-filling statistics: the number of cells with VolFD < fcri and
    // their melt volume sum(V VolFD), reduced with the level table of
    // nCells in the int and double scratch (`total` each, cleared here).
    // The unnamed int is not read. Cost: two first-level launches, the
    // collecting passes of each, two blocking copies. Messages
    // "Calc_VOF_FlowE_CheckEndFillingInt failed",
    // "Calc_VOF_FlowE_CheckEndFillingDouble failed",
    // "Calc_VOF_FlowE_CheckEndFilling_CollectSum12 failed" (one check after
    // the collecting passes, whose status is returned).
    int Calc_VOF_FlowE_CheckEndFilling(int nCells, double fcri, double* VolFD, double* volumeD, int,
                                       int& unfilledCells, double& unfilledVolume, int* intScratchD,
                                       double* doubleScratchD, int nLevels, const int* count, const int* offset,
                                       int total, const int* size);
    // @FILLING-EXTENDED-END

private:
    CRVZGPUtool_Imple* m_Imple;
};

#endif
