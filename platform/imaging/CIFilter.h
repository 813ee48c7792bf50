#pragma once
// Filters by name. A filter has named inputs (setValue / valueForKey), an attribute
// dictionary that describes them (class, default, identity, minimum, slider range) and a
// lazy output image. A registry makes filters by name: the built-in ones and any the program
// registers. Main thread only, like the rest of the imaging library.

#include <functional>
#include <memory>

#include <QHash>
#include <QString>
#include <QStringList>
#include <QTransform>
#include <QVariant>

#include "platform/imaging/CIColor.h"
#include "platform/imaging/CIImage.h"
#include "platform/imaging/CIVector.h"

// Attribute dictionary keys and values, named as Core Image names them.
inline constexpr char kCIAttributeFilterName[] = "CIAttributeFilterName";
inline constexpr char kCIAttributeFilterDisplayName[] = "CIAttributeFilterDisplayName";
inline constexpr char kCIAttributeFilterCategories[] = "CIAttributeFilterCategories";
inline constexpr char kCIAttributeDescription[] = "CIAttributeDescription";
inline constexpr char kCIAttributeClass[] = "CIAttributeClass";
inline constexpr char kCIAttributeType[] = "CIAttributeType";
inline constexpr char kCIAttributeMin[] = "CIAttributeMin";
inline constexpr char kCIAttributeMax[] = "CIAttributeMax";
inline constexpr char kCIAttributeSliderMin[] = "CIAttributeSliderMin";
inline constexpr char kCIAttributeSliderMax[] = "CIAttributeSliderMax";
inline constexpr char kCIAttributeDefault[] = "CIAttributeDefault";
inline constexpr char kCIAttributeIdentity[] = "CIAttributeIdentity";
inline constexpr char kCIAttributeDisplayName[] = "CIAttributeDisplayName";

inline constexpr char kCIAttributeTypeScalar[] = "CIAttributeTypeScalar";
inline constexpr char kCIAttributeTypeRectangle[] = "CIAttributeTypeRectangle";
inline constexpr char kCIAttributeTypeOpaqueColor[] = "CIAttributeTypeOpaqueColor";

inline constexpr char kCICategoryColorAdjustment[] = "CICategoryColorAdjustment";
inline constexpr char kCICategoryGeometryAdjustment[] = "CICategoryGeometryAdjustment";
inline constexpr char kCICategoryVideo[] = "CICategoryVideo";
inline constexpr char kCICategoryStillImage[] = "CICategoryStillImage";
inline constexpr char kCICategoryBuiltIn[] = "CICategoryBuiltIn";

// Values of "CIAttributeClass": what QVariant each input holds.
inline constexpr char kCIClassImage[] = "CIImage";                      // CIImage
inline constexpr char kCIClassColor[] = "CIColor";                      // CIColor
inline constexpr char kCIClassNumber[] = "NSNumber";                    // double
inline constexpr char kCIClassVector[] = "CIVector";                    // CIVector
inline constexpr char kCIClassAffineTransform[] = "NSAffineTransform";  // QTransform

inline constexpr char kCIInputImageKey[] = "inputImage";
inline constexpr char kCIOutputImageKey[] = "outputImage";

class CIFilter {
public:
    using Constructor = std::function<std::unique_ptr<CIFilter>(QString const& name)>;

    // A new filter of the registered name, inputs unset; null (logged) for an unknown name.
    static std::unique_ptr<CIFilter> filterWithName(QString const& name);
    // Registers (or replaces) a filter name with the function that makes such filters and
    // the class's attribute dictionary.
    static void registerFilterName(QString const& name, Constructor constructor,
                                   QVariantMap const& classAttributes);
    static QStringList filterNames();

    virtual ~CIFilter();
    CIFilter(CIFilter const&) = delete;
    CIFilter& operator=(CIFilter const&) = delete;

    QString const& name() const { return mName; }
    // The attribute dictionary: filter name, categories, and for each input key a dictionary
    // of "CIAttributeClass", "CIAttributeDefault", "CIAttributeIdentity", ... By default the
    // one registered with the filter's name.
    virtual QVariantMap attributes() const;
    QStringList const& inputKeys() const { return mInputKeys; }
    QStringList outputKeys() const { return {kCIOutputImageKey}; }

    // Sets an input; an invalid QVariant unsets it. Keys that are not inputs are logged and
    // ignored.
    void setValue(QVariant const& value, QString const& key);
    void setValue(CIImage const& image, QString const& key);
    void setValue(CIColor const& color, QString const& key);
    void setValue(CIVector const& vector, QString const& key);
    void setValue(QTransform const& transform, QString const& key);
    // An input's value (invalid when unset), or for "outputImage" the output image.
    QVariant valueForKey(QString const& key) const;
    // Sets every input that has a "CIAttributeDefault" to it (images have none).
    void setDefaults();

    // The filtered image, built lazily; the empty image when the filter cannot make one.
    virtual CIImage outputImage() const = 0;

    // An input read for computing: its value, or its attribute default while it is unset.
    QVariant inputValue(QString const& key) const;
    CIImage imageForKey(QString const& key) const;
    double numberForKey(QString const& key) const;
    CIColor colorForKey(QString const& key) const;
    CIVector vectorForKey(QString const& key) const;
    QTransform transformForKey(QString const& key) const;

protected:
    CIFilter(QString name, QStringList inputKeys);

private:
    QString mName;
    QStringList mInputKeys;  // in declaration order
    QHash<QString, QVariant> mValues;
};
