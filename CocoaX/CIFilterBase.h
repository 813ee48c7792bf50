#pragma once
// Base class of the program's own filters: the attribute dictionaries (the base entries that
// every such filter's class attributes start from) and kernel loading. Kernels are native
// row routines here, so "compiling" kernel text binds its declarations to them and makes the
// kernel object; a filter does that once and keeps the kernel.

#include <memory>

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QVariantMap>

#include "platform/imaging/CIFilter.h"
#include "platform/imaging/CIKernel.h"

class CIFilterBase : public CIFilter {
public:
    // The base entries: filter categories and the "inputImage" attribute (class "CIImage").
    static QVariantMap classAttributes();
    // The filter's attribute dictionary: customAttributes().
    QVariantMap attributes() const override;
    // What a subclass describes itself with; the base entries here.
    virtual QVariantMap customAttributes() const;

    // Reads the resource `name`.cikernel from the application's resources and compiles it;
    // no resources folder is logged ("bundle") and gives none.
    static std::shared_ptr<CIKernel const> kernelFromBundleFile(QString const& name);
    // Compiles kernel text and returns its first kernel; empty text ("kernelCode") or no
    // kernels ("kernels") are logged and give none.
    static std::shared_ptr<CIKernel const> kernelFromKernelCode(QString const& kernelCode);
    // Kernel text as UTF-8 bytes; bytes that are not UTF-8 are logged and give none.
    static std::shared_ptr<CIKernel const> kernelFromKernelData(QByteArray const& kernelData);
    // A filter by name (the registry's).
    static std::unique_ptr<CIFilter> filterWithName(QString const& name);

protected:
    CIFilterBase(QString name, QStringList inputKeys);
};

// Forces the class to be linked; always true.
bool import_CIFilterBase();
