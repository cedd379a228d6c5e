# Run-time options of the RVZGPU_SANITIZE build (AddressSanitizer,
# LeakSanitizer, UndefinedBehaviorSanitizer). Source it before running the
# tests of that build: scripts/test.sh does.
sanitizers_dir=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
# Stop at the first report; check the order of static initialisers too.
export ASAN_OPTIONS="halt_on_error=1:detect_leaks=1:check_initialization_order=1:strict_init_order=1"
# Undefined behaviour is fatal: every check but the null check is built
# unrecoverable, and halt_on_error=1 ends the run at a null report that no
# suppression (ubsan.supp: Thrust's deliberate null dispatch) covers.
export UBSAN_OPTIONS="halt_on_error=1:print_stacktrace=1:suppressions=$sanitizers_dir/ubsan.supp"
# OpenMPI's own leaks at exit (see lsan.supp). The MPI tests add
# fast_unwind_on_malloc=0 to ASAN_OPTIONS so that these suppressions match;
# the slow unwinder costs up to five times the run time of malloc-heavy
# tests, so the other tests keep the fast one.
export LSAN_OPTIONS="suppressions=$sanitizers_dir/lsan.supp:print_suppressions=0"
# llvm-symbolizer names the frames of a report.
if [ -x /usr/lib/llvm-14/bin/llvm-symbolizer ]; then
  export ASAN_SYMBOLIZER_PATH=/usr/lib/llvm-14/bin/llvm-symbolizer
fi
unset sanitizers_dir
