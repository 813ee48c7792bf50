#pragma once
// Per-pixel kernels. A kernel's text declares it, and a native row routine registered under
// the same name does the arithmetic:
//
//     /* comments as in C */
//     kernel vec4 stereoMux(sampler rightImage, sampler leftImage, float swapEyes);
//
// Argument types: sampler, float, vec2, vec3, vec4, __color. Compiling text
// (kernelsWithString) checks every declaration and binds it to its routine; the kernel object
// is made once and applied as often as wanted.

#include <cstdint>
#include <memory>
#include <vector>

#include <QMetaType>
#include <QRectF>
#include <QString>
#include <QVariant>

#include "platform/imaging/CIImage.h"

// Keys of apply's options, with a QRectF (or a CIVector x, y, width, height) each.
inline constexpr char kCIApplyOptionExtent[] = "extent";          // the output's extent
inline constexpr char kCIApplyOptionDefinition[] = "definition";  // where it can be non-zero

// One call of a kernel routine: one span of one output row.
struct CIKernelRow {
    int y;
    int x;
    int count;
    uint32_t* out;  // count pixels to write
    // For each sampler argument, in order: its image's pixels over the same span
    // (transparent outside the image's extent).
    uint32_t const* const* samplers;
    // The other arguments in order, vectors and colours spread out (x y z w; r g b a).
    float const* numbers;
};
using CIKernelRoutine = void (*)(CIKernelRow const& row);

class CIKernel {
public:
    enum class ArgumentType { kSampler, kFloat, kVec2, kVec3, kVec4, kColor };

    // Binds kernel text's `name` to `routine` (replacing an earlier routine of that name).
    static void registerRoutine(QString const& name, CIKernelRoutine routine);
    // One kernel per declaration in `code`; the empty list (logged) when the text does not
    // parse, uses an unknown type or names a routine nobody registered.
    static std::vector<std::shared_ptr<CIKernel const>> kernelsWithString(QString const& code);

    QString const& name() const { return mName; }
    std::vector<ArgumentType> const& argumentTypes() const { return mArgumentTypes; }

    // The lazy image of this kernel over `arguments`: a CISampler (QVariant::fromValue) per
    // sampler, a number per float, a CIVector per vecN, a CIColor per __color. Options give
    // the extent and the definition; each defaults to the union of the samplers' extents and
    // the image covers their intersection. Arguments that do not match the declaration give
    // the empty image (logged).
    CIImage apply(QVariantList const& arguments, QVariantMap const& options = {}) const;

    CIKernel(QString name, std::vector<ArgumentType> argumentTypes, CIKernelRoutine routine);
    CIKernelRoutine routine() const { return mRoutine; }

private:
    QString mName;
    std::vector<ArgumentType> mArgumentTypes;
    CIKernelRoutine mRoutine;
};
