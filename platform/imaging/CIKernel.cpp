#include "platform/imaging/CIKernel.h"

#include <QHash>
#include <QRegularExpression>

#include "CoreX/CoreMachDebugLog.h"
#include "platform/imaging/CIColor.h"
#include "platform/imaging/CIKernelNode.h"
#include "platform/imaging/CISampler.h"
#include "platform/imaging/CIVector.h"

namespace {

QHash<QString, CIKernelRoutine>& Routines() {
    static QHash<QString, CIKernelRoutine> sRoutines;
    return sRoutines;
}

bool ParseType(QString const& text, CIKernel::ArgumentType& type) {
    static QHash<QString, CIKernel::ArgumentType> const sTypes = {
        {"sampler", CIKernel::ArgumentType::kSampler}, {"float", CIKernel::ArgumentType::kFloat},
        {"vec2", CIKernel::ArgumentType::kVec2},       {"vec3", CIKernel::ArgumentType::kVec3},
        {"vec4", CIKernel::ArgumentType::kVec4},       {"__color", CIKernel::ArgumentType::kColor},
    };
    auto const found = sTypes.find(text);
    if (found == sTypes.end()) {
        return false;
    }
    type = found.value();
    return true;
}

bool ParseParameters(QString const& text, std::vector<CIKernel::ArgumentType>& types) {
    static QRegularExpression const sParameter(R"(^\s*(\w+)\s+[A-Za-z_]\w*\s*$)");
    if (text.trimmed().isEmpty()) {
        return true;
    }
    for (QString const& parameter : text.split(',')) {
        QRegularExpressionMatch const match = sParameter.match(parameter);
        CIKernel::ArgumentType type;
        bool const typeKnown = match.hasMatch() && ParseType(match.captured(1), type);
        VERIFY(typeKnown);
        if (!typeKnown) {
            return false;
        }
        types.push_back(type);
    }
    return true;
}

bool ReadRect(QVariant const& value, QRectF& rect) {
    if (value.metaType() == QMetaType::fromType<QRectF>()) {
        rect = value.toRectF();
        return true;
    }
    if (value.metaType() == QMetaType::fromType<CIVector>()) {
        rect = value.value<CIVector>().CGRectValue();
        return true;
    }
    return false;
}

bool IsNumber(QVariant const& value) {
    switch (value.metaType().id()) {
        case QMetaType::Double:
        case QMetaType::Float:
        case QMetaType::Int:
        case QMetaType::UInt:
        case QMetaType::LongLong:
        case QMetaType::ULongLong:
            return true;
        default:
            return false;
    }
}

// Appends the argument's numbers; false when it is not of the declared type.
bool ReadArgument(CIKernel::ArgumentType type, QVariant const& value,
                  std::vector<std::shared_ptr<CIImageNode const>>& samplers,
                  std::vector<float>& numbers) {
    auto const vectorOf = [&](int count) {
        if (value.metaType() != QMetaType::fromType<CIVector>()) {
            return false;
        }
        CIVector const vector = value.value<CIVector>();
        for (int i = 0; i < count; ++i) {
            numbers.push_back(static_cast<float>(vector.valueAtIndex(i)));
        }
        return true;
    };
    switch (type) {
        case CIKernel::ArgumentType::kSampler:
            if (value.metaType() != QMetaType::fromType<CISampler>()) {
                return false;
            }
            samplers.push_back(value.value<CISampler>().image().node());
            return true;
        case CIKernel::ArgumentType::kFloat:
            if (!IsNumber(value)) {
                return false;
            }
            numbers.push_back(static_cast<float>(value.toDouble()));
            return true;
        case CIKernel::ArgumentType::kVec2:
            return vectorOf(2);
        case CIKernel::ArgumentType::kVec3:
            return vectorOf(3);
        case CIKernel::ArgumentType::kVec4:
            return vectorOf(4);
        case CIKernel::ArgumentType::kColor:
            if (value.metaType() != QMetaType::fromType<CIColor>()) {
                return false;
            }
            {
                CIColor const color = value.value<CIColor>();
                for (double component : {color.red(), color.green(), color.blue(), color.alpha()}) {
                    numbers.push_back(static_cast<float>(component));
                }
            }
            return true;
    }
    return false;
}

}  // namespace

CIKernel::CIKernel(QString name, std::vector<ArgumentType> argumentTypes, CIKernelRoutine routine)
    : mName(std::move(name)), mArgumentTypes(std::move(argumentTypes)), mRoutine(routine) {}

void CIKernel::registerRoutine(QString const& name, CIKernelRoutine routine) {
    VERIFY(routine != nullptr);
    if (routine != nullptr) {
        Routines().insert(name, routine);
    }
}

std::vector<std::shared_ptr<CIKernel const>> CIKernel::kernelsWithString(QString const& code) {
    static QRegularExpression const sComments(R"(/\*.*?\*/|//[^\n]*)",
                                              QRegularExpression::DotMatchesEverythingOption);
    static QRegularExpression const sDeclaration(
        R"(\bkernel\s+vec4\s+([A-Za-z_]\w*)\s*\(([^)]*)\)\s*;)");
    QString text = code;
    text.replace(sComments, " ");

    std::vector<std::shared_ptr<CIKernel const>> kernels;
    QString leftover;
    qsizetype consumed = 0;
    auto matches = sDeclaration.globalMatch(text);
    while (matches.hasNext()) {
        QRegularExpressionMatch const match = matches.next();
        leftover += text.mid(consumed, match.capturedStart() - consumed);
        consumed = match.capturedEnd();
        std::vector<ArgumentType> types;
        if (!ParseParameters(match.captured(2), types)) {
            return {};
        }
        CIKernelRoutine const routine = Routines().value(match.captured(1), nullptr);
        VERIFY(routine != nullptr);
        if (routine == nullptr) {
            return {};
        }
        kernels.push_back(
            std::make_shared<CIKernel const>(match.captured(1), std::move(types), routine));
    }
    leftover += text.mid(consumed);
    bool const onlyDeclarations = leftover.trimmed().isEmpty();
    VERIFY(onlyDeclarations);
    if (!onlyDeclarations) {
        return {};
    }
    return kernels;
}

CIImage CIKernel::apply(QVariantList const& arguments, QVariantMap const& options) const {
    bool const argumentCountMatches =
        arguments.size() == static_cast<qsizetype>(mArgumentTypes.size());
    VERIFY(argumentCountMatches);
    if (!argumentCountMatches) {
        return CIImage();
    }
    std::vector<std::shared_ptr<CIImageNode const>> samplers;
    std::vector<float> numbers;
    for (std::size_t i = 0; i < mArgumentTypes.size(); ++i) {
        bool const argumentMatches = ReadArgument(
            mArgumentTypes[i], arguments[static_cast<qsizetype>(i)], samplers, numbers);
        VERIFY(argumentMatches);
        if (!argumentMatches) {
            return CIImage();
        }
    }
    bool const samplerCountSupported = samplers.size() <= 8;
    VERIFY(samplerCountSupported);
    if (!samplerCountSupported) {
        return CIImage();
    }
    QRectF samplersExtent;
    for (auto const& sampler : samplers) {
        if (sampler) {
            samplersExtent = samplersExtent.united(sampler->extent());
        }
    }
    QRectF extent = samplersExtent;
    QRectF definition = samplersExtent;
    if (options.contains(kCIApplyOptionExtent)) {
        VERIFY(ReadRect(options.value(kCIApplyOptionExtent), extent));
    }
    if (options.contains(kCIApplyOptionDefinition)) {
        VERIFY(ReadRect(options.value(kCIApplyOptionDefinition), definition));
    }
    QRectF const covered = extent & definition;
    if (CIPixelSpan(covered).isEmpty()) {
        return CIImage();
    }
    return CIImage(std::make_shared<CIKernelNode>(mName, mRoutine, std::move(samplers),
                                                  std::move(numbers), covered));
}
