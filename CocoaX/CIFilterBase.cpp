#include "CocoaX/CIFilterBase.h"

#include <QFile>
#include <QStringDecoder>

#include "CoreX/CoreMachDebugLog.h"
#include "platform/folders/PlatformFolders.h"

CIFilterBase::CIFilterBase(QString name, QStringList inputKeys)
    : CIFilter(std::move(name), std::move(inputKeys)) {}

QVariantMap CIFilterBase::classAttributes() {
    return {
        {kCIAttributeFilterCategories, QStringList{kCICategoryVideo, kCICategoryStillImage}},
        {kCIInputImageKey, QVariantMap{{kCIAttributeClass, kCIClassImage}}},
    };
}

QVariantMap CIFilterBase::attributes() const { return customAttributes(); }

QVariantMap CIFilterBase::customAttributes() const { return classAttributes(); }

std::shared_ptr<CIKernel const> CIFilterBase::kernelFromBundleFile(QString const& name) {
    std::string folder;
    bool const bundle =
        PlatformFolders::FindFolder(PlatformFolders::kApplicationResources,
                                    PlatformFolders::kDontCreateFolder, folder) == noErr;
    VERIFY(bundle);
    if (!bundle) {
        return nullptr;
    }
    QFile file(QString::fromStdString(folder) + "/" + name + ".cikernel");
    bool const opened = file.open(QIODevice::ReadOnly);
    VERIFY(opened);
    if (!opened) {
        return nullptr;
    }
    return kernelFromKernelData(file.readAll());
}

std::shared_ptr<CIKernel const> CIFilterBase::kernelFromKernelCode(QString const& kernelCode) {
    VERIFY(!kernelCode.isEmpty());
    if (kernelCode.isEmpty()) {
        return nullptr;
    }
    std::vector<std::shared_ptr<CIKernel const>> const kernels =
        CIKernel::kernelsWithString(kernelCode);
    VERIFY(!kernels.empty());
    if (kernels.empty()) {
        return nullptr;
    }
    return kernels.front();
}

std::shared_ptr<CIKernel const> CIFilterBase::kernelFromKernelData(QByteArray const& kernelData) {
    QStringDecoder decoder(QStringDecoder::Utf8);
    QString const kernelCode = decoder.decode(kernelData);
    bool const utf8 = !decoder.hasError();
    VERIFY(utf8);
    if (!utf8) {
        return nullptr;
    }
    return kernelFromKernelCode(kernelCode);
}

std::unique_ptr<CIFilter> CIFilterBase::filterWithName(QString const& name) {
    return CIFilter::filterWithName(name);
}

bool import_CIFilterBase() { return true; }
