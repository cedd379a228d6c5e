#!/bin/sh
# The default duct of rvzgpu-channel (24 x 15 x 15 hexahedra on 4 x 1 x 1,
# density 1, viscosity 1, inflow 1, upwind convection, SIMPLEC with velocity
# relaxation 0.8, outer tolerance 1e-7) run by OpenFOAM's simpleFoam and by
# rvzgpu-channel, one core each; prints both wall times and both errors of
# the centre-line velocity at 0.7 L and of the pressure gradient over
# 0.4 .. 0.85 L against the series solution.
#
#   bench/peer/duct_simplefoam.sh [path/to/rvzgpu-channel]
#
# Needs an OpenFOAM environment (blockMesh and simpleFoam on PATH) and
# python3; exits with 77 when OpenFOAM is missing. OpenFOAM is no
# dependency of the library, its tests or its benchmarks.
set -eu

channel=${1:-build/examples/host_solver/rvzgpu-channel}
# Debian's openfoam package puts the programs on PATH but leaves the
# project folder (where they find etc/controlDict) for the user to name.
if [ -z "${WM_PROJECT_DIR:-}" ] && [ -f /usr/share/openfoam/etc/controlDict ]; then
    WM_PROJECT_DIR=/usr/share/openfoam
    export WM_PROJECT_DIR
fi
if ! command -v simpleFoam >/dev/null 2>&1 || ! command -v blockMesh >/dev/null 2>&1; then
    echo "duct_simplefoam: OpenFOAM (simpleFoam, blockMesh) not on PATH; source its etc/bashrc first" >&2
    exit 77
fi
if [ ! -x "$channel" ]; then
    echo "duct_simplefoam: $channel is not an executable rvzgpu-channel" >&2
    exit 2
fi
channel=$(cd "$(dirname "$channel")" && pwd)/$(basename "$channel")

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
case=$work/duct
mkdir -p "$case/system" "$case/constant" "$case/0"

header() {  # class object
    printf 'FoamFile\n{\n    version 2.0;\n    format ascii;\n    class %s;\n    object %s;\n}\n' "$1" "$2"
}

{ header dictionary controlDict; cat <<'DICT'
application simpleFoam;
startFrom startTime;
startTime 0;
stopAt endTime;
endTime 2000;
deltaT 1;
writeControl timeStep;
writeInterval 2000;
writeFormat ascii;
writePrecision 12;
runTimeModifiable false;
DICT
} > "$case/system/controlDict"

{ header dictionary blockMeshDict; cat <<'DICT'
convertToMeters 1;
vertices ((0 0 0) (4 0 0) (4 1 0) (0 1 0) (0 0 1) (4 0 1) (4 1 1) (0 1 1));
blocks (hex (0 1 2 3 4 5 6 7) (24 15 15) simpleGrading (1 1 1));
boundary
(
    inlet  { type patch; faces ((0 4 7 3)); }
    outlet { type patch; faces ((1 2 6 5)); }
    walls  { type wall;  faces ((0 1 5 4) (3 7 6 2) (0 3 2 1) (4 5 6 7)); }
);
DICT
} > "$case/system/blockMeshDict"

{ header dictionary fvSchemes; cat <<'DICT'
ddtSchemes { default steadyState; }
gradSchemes { default Gauss linear; }
divSchemes
{
    default none;
    div(phi,U) bounded Gauss upwind;
    div((nuEff*dev2(T(grad(U))))) Gauss linear;
}
laplacianSchemes { default Gauss linear corrected; }
interpolationSchemes { default linear; }
snGradSchemes { default corrected; }
DICT
} > "$case/system/fvSchemes"

# Inner solves to the relative tolerances rvzgpu-channel uses.
{ header dictionary fvSolution; cat <<'DICT'
solvers
{
    p { solver PCG; preconditioner DIC; tolerance 0; relTol 0.01; }
    U { solver PBiCGStab; preconditioner DILU; tolerance 0; relTol 0.1; }
}
SIMPLE
{
    consistent yes;
    nNonOrthogonalCorrectors 0;
    residualControl { p 1e-7; U 1e-7; }
}
relaxationFactors { equations { U 0.8; } fields { p 1; } }
DICT
} > "$case/system/fvSolution"

{ header dictionary transportProperties; echo 'transportModel Newtonian;'; echo 'nu 1;'; } \
    > "$case/constant/transportProperties"
{ header dictionary physicalProperties; echo 'viscosityModel constant;'; echo 'nu 1;'; } \
    > "$case/constant/physicalProperties"
{ header dictionary momentumTransport; echo 'simulationType laminar;'; } > "$case/constant/momentumTransport"
{ header dictionary turbulenceProperties; echo 'simulationType laminar;'; } > "$case/constant/turbulenceProperties"

{ header volVectorField U; cat <<'DICT'
dimensions [0 1 -1 0 0 0 0];
internalField uniform (0 0 0);
boundaryField
{
    inlet  { type fixedValue; value uniform (1 0 0); }
    outlet { type zeroGradient; }
    walls  { type noSlip; }
}
DICT
} > "$case/0/U"

{ header volScalarField p; cat <<'DICT'
dimensions [0 2 -2 0 0 0 0];
internalField uniform 0;
boundaryField
{
    inlet  { type zeroGradient; }
    outlet { type fixedValue; value uniform 0; }
    walls  { type zeroGradient; }
}
DICT
} > "$case/0/p"

# Runs one OpenFOAM step in the case; on failure shows the end of its log.
foam() {
    log=$1; shift
    if ! (cd "$case" && "$@" > "$log" 2>&1); then
        echo "duct_simplefoam: $* failed; the end of its log:" >&2
        tail -n 20 "$case/$log" >&2
        exit 1
    fi
}
foam log.blockMesh blockMesh
start=$(date +%s.%N)
foam log.simpleFoam simpleFoam
end=$(date +%s.%N)
foamTime=$(echo "$end - $start" | bc)
if command -v foamPostProcess >/dev/null 2>&1; then
    (cd "$case" && foamPostProcess -func writeCellCentres -latestTime > log.centres 2>&1)
else
    (cd "$case" && postProcess -func writeCellCentres -latestTime > log.centres 2>&1)
fi

cat > "$work/duct.inp" <<'INP'
output = none
INP
start=$(date +%s.%N)
OMP_NUM_THREADS=1 "$channel" "$work/duct.inp" > "$work/channel.log"
end=$(date +%s.%N)
channelTime=$(echo "$end - $start" | bc)

python3 - "$case" "$work/channel.log" "$foamTime" "$channelTime" <<'PY'
import math, os, re, sys

case, channelLog, foamTime, channelTime = sys.argv[1], sys.argv[2], float(sys.argv[3]), float(sys.argv[4])
times = [d for d in os.listdir(case) if re.fullmatch(r"[0-9.eE+-]+", d) and float(d) > 0]
last = os.path.join(case, max(times, key=float))

def internal(name):
    text = open(os.path.join(last, name)).read()
    body = text[text.index("internalField"):]
    n = int(re.search(r"List<\w+>\s*(\d+)", body).group(1))
    start = body.index("(", body.index(str(n))) + 1
    if "vector" in body[:body.index("(")]:
        return [tuple(map(float, m)) for m in re.findall(r"\(([^()\s]+) ([^()\s]+) ([^()\s]+)\)", body[start:])][:n]
    return [float(v) for v in body[start:].split(")")[0].split()][:n]

C, U, p = internal("C"), internal("U"), internal("p")
line = [(c[0], u[0], q) for c, u, q in zip(C, U, p) if abs(c[1] - 0.5) < 1e-9 and abs(c[2] - 0.5) < 1e-9]
centre = min(line, key=lambda t: abs(t[0] - 2.8))[1]
fit = [(x, q) for x, _, q in line if 1.6 <= x <= 3.4]
n = len(fit); sx = sum(x for x, _ in fit); sp = sum(q for _, q in fit)
sxx = sum(x * x for x, _ in fit); sxp = sum(x * q for x, q in fit)
gradient = -(n * sxp - sx * sp) / (n * sxx - sx * sx)

# Series solution for the 1 x 1 duct, viscosity 1, mean velocity 1.
a = b = 0.5
flow = centreSum = 0.0
for k in range(1, 402, 2):
    q = k * math.pi / (2 * a)
    flow += math.tanh(q * b) / k ** 5
    centreSum += (1 if ((k - 1) // 2) % 2 == 0 else -1) * (1 - 1 / math.cosh(q * b)) / k ** 3
G = 1.0 / (4 * b * a ** 3 / 3 * (1 - 192 * a / (math.pi ** 5 * b) * flow))
uc = 16 * a * a * G / math.pi ** 3 * centreSum

log = open(channelLog).read()
cv = float(re.search(r"centre-line velocity at 0.7 L: (\S+)", log).group(1))
pg = float(re.search(r"pressure gradient -dp/dx:\s+(\S+)", log).group(1))
print("%-16s %10s %14s %14s" % ("program", "time [s]", "centre-line", "-dp/dx"))
for name, t, u, g in (("simpleFoam", foamTime, centre, gradient), ("rvzgpu-channel", channelTime, cv, pg)):
    print("%-16s %10.2f %+13.2f%% %+13.2f%%" % (name, t, 100 * (u / uc - 1), 100 * (g / G - 1)))
PY
