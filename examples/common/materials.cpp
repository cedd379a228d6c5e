#include "materials.h"

#include "rvzgpu_viscosity.h"

namespace channel {

namespace {

namespace visc = rvz::viscosity;

// The library's parameter vector {-, n, tau*, D1, D2, D3, A1, A2} (already
// in poise, dyn/cm^2 and on the 273.0 scale) as a table entry.
Material FromParameters(const char* name, const char* grade, const char* source, const std::vector<double>& P)
{
    return Material{name, grade, source, P[1], P[2], P[3], P[4], P[6], P[7]};
}

}  // namespace

const std::vector<Material>& Materials()
{
    static const std::vector<Material> table = {
        // Vietri, Sorrentino, Speranza and Pantani, Polym. Eng. Sci. 51
        // (2011): n = 0.252, tau* = 30800 Pa, D1 = 4.76e10 Pa s,
        // D2 = 373.15 K, D3 = 0, A1 = 25.7, A2 = 61.06 K (the library's
        // own copy of these constants).
        FromParameters("ps-styron-678e", "Styron 678E, general-purpose polystyrene",
                       "Cross-WLF fit of Vietri et al., Polym. Eng. Sci. 51 (2011)",
                       visc::PolystyreneStyron678E().parameters),
        // Autodesk Moldflow Plastics Labs, Material Testing Report MAT4408,
        // ISOFIL HK 10 TVHM (Sirmax), 19 May 2009, Summary, Rheological
        // Properties: n = 0.2895, Tau = 37623.5 Pa, D1 = 2.17218e14 Pa s,
        // D2 = 263.15 K, D3 = 0 K/Pa, A1 = 32.463, A2 = 51.600 K.
        FromParameters("pp-isofil-hk10-tvhm", "ISOFIL HK 10 TVHM (Sirmax), polypropylene with 10 % talc",
                       "Moldflow Material Testing Report MAT4408 (2009)",
                       visc::CrossWLFParametersFromSI(0.2895, 37623.5, 2.17218e14, 263.15, 0.0, 32.463, 51.6)),
    };
    return table;
}

const Material* FindMaterial(const std::string& name)
{
    for (const Material& m : Materials())
        if (m.name == name) return &m;
    return nullptr;
}

std::string MaterialNames()
{
    std::string names;
    for (const Material& m : Materials()) names += (names.empty() ? "" : ", ") + m.name;
    return names;
}

}  // namespace channel
