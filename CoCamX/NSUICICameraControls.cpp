#include "CoCamX/NSUICICameraControls.h"

#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QSignalBlocker>
#include <QTabWidget>
#include <QToolButton>
#include <QVBoxLayout>

#include "CoCamX/NSUIControls.h"
#include "CocoaX/NSUserDefaults.h"
#include "CoreX/CoreMachDebugLog.h"
#include "platform/defaults/UserDefaults.h"
#include "platform/imaging/CIColorControlsFilter.h"
#include "platform/imaging/CICropFilter.h"
#include "platform/imaging/CIExposureAdjustFilter.h"
#include "platform/imaging/CIFilter.h"
#include "platform/imaging/CIPlugIn.h"
#include "platform/imaging/CIVector.h"
#include "platform/imaging/CIWhitePointAdjustFilter.h"

namespace {

QString Key(char const* key) { return QString::fromLatin1(key); }

// A filter made by name with its defaults set; null (logged by the registry) when it cannot
// be made, and then the controller's messages to it do nothing.
std::unique_ptr<CIFilter> MakeFilter(char const* name) {
    std::unique_ptr<CIFilter> filter = CIFilter::filterWithName(Key(name));
    if (filter) {
        filter->setDefaults();
    }
    return filter;
}

void SetNumber(CIFilter* filter, char const* key, double value) {
    if (filter != nullptr) {
        filter->setValue(QVariant(value), Key(key));
    }
}

double NumberOf(CIFilter const* filter, char const* key, double identity) {
    return filter != nullptr ? filter->numberForKey(Key(key)) : identity;
}

// The alignment's and the colour match's sliders under their names, in the order of
// AlignAndMatchSliders.
constexpr char const* kAlignAndMatchNames[] = {
    "_horizontalOffsetSlider", "_verticalOffsetSlider", "_rotationSlider", "_scaleSlider",
    "_redGainSlider",          "_greenGainSlider",      "_blueGainSlider", "_redOffsetSlider",
    "_greenOffsetSlider",      "_blueOffsetSlider"};

std::array<NSUISlider*, 10> AlignAndMatchSliders(NSUICICameraControls::Outlets const& o) {
    return {o.horizontalOffsetSlider, o.verticalOffsetSlider,
            o.rotationSlider,         o.scaleSlider,
            o.matchGainSliders[0],    o.matchGainSliders[1],
            o.matchGainSliders[2],    o.matchOffsetSliders[0],
            o.matchOffsetSliders[1],  o.matchOffsetSliders[2]};
}

double ValueOf(NSUISlider const* slider, double identity) {
    return slider != nullptr ? slider->doubleValue() : identity;
}

CIImage Stage(CIFilter* filter, CIImage const& image) {
    if (filter == nullptr) {
        return image;
    }
    filter->setValue(image, Key(kCIInputImageKey));
    return filter->outputImage();
}

}  // namespace

void NSUICICameraControls::loadCoreImagePlugIns() { CIPlugIn::loadAllPlugIns(); }

void NSUICICameraControls::setDefaultIdentity(CIFilter* filter, QString const& key) {
    if (filter == nullptr) {
        return;
    }
    QVariantMap const attribute = filter->attributes().value(key).toMap();
    filter->setValue(attribute.value(Key(kCIAttributeIdentity)), key);
}

NSUICICameraControls::NSUICICameraControls(QObject* parent) : QObject(parent) {
    loadCoreImagePlugIns();
    _whitePointAdjust = MakeFilter(CIWhitePointAdjustFilter::kName);
    setDefaultIdentity(_whitePointAdjust.get(), Key(CIWhitePointAdjustFilter::kInputColorKey));
    _exposure = MakeFilter(CIExposureAdjustFilter::kName);
    setDefaultIdentity(_exposure.get(), Key(CIExposureAdjustFilter::kInputEVKey));
    _color = MakeFilter(CIColorControlsFilter::kName);
    for (char const* key : {CIColorControlsFilter::kInputSaturationKey,
                            CIColorControlsFilter::kInputBrightnessKey,
                            CIColorControlsFilter::kInputContrastKey}) {
        setDefaultIdentity(_color.get(), Key(key));
    }
    _crop = MakeFilter(CICropFilter::kName);
    if (_crop) {
        _crop->setValue(CIVector::vectorWithX(0, 0, NSUICICameraControls_FrameWidth,
                                 NSUICICameraControls_FrameHeight),
                        Key(CICropFilter::kInputRectangleKey));
    }
    _transform = QTransform::fromTranslate(0, 0);

    using namespace ParamConvert;
    mItems[0] = {kParamReadWrite, 0, "_whiteBalanceEnable", nullptr, GetInt, SetInt, nullptr};
    mItems[1] = {kParamReadWrite, 0, "_mirrorImageX", nullptr, GetInt, SetInt, nullptr};
    mItems[2] = {kParamReadWrite, 0, "_mirrorImageY", nullptr, GetInt, SetInt, nullptr};
    mItems[3] = {kParamReadWrite, 1, "_whiteBalanceColor", nullptr, GetColorExact,
                 SetColorExact, nullptr};
    mItems[4] = {kParamReadWrite, 2, "_exposureSlider", nullptr, GetFloat, SetFloat, nullptr};
    mItems[5] = {kParamReadWrite, 2, "_brightnessSlider", nullptr, GetFloat, SetFloat, nullptr};
    mItems[6] = {kParamReadWrite, 2, "_contrastSlider", nullptr, GetFloat, SetFloat, nullptr};
    mItems[7] = {kParamReadWrite, 2, "_saturationSlider", nullptr, GetFloat, SetFloat, nullptr};
    int item = 8;
    for (char const* name : kAlignAndMatchNames) {
        mItems[item++] = {kParamReadWrite, 2, name, nullptr, GetFloat, SetFloat, nullptr};
    }
    mItems[item] = {};
    mMapping.SetItems(mItems);
}

NSUICICameraControls::~NSUICICameraControls() = default;

void NSUICICameraControls::setOutlets(Outlets const& outlets) {
    mOutlets = outlets;
    _brightnessSlider = outlets.brightnessSlider;
    _contrastSlider = outlets.contrastSlider;
    _saturationSlider = outlets.saturationSlider;
    _exposureSlider = outlets.exposureSlider;
    _mirrorImageX = outlets.mirrorImageX;
    _mirrorImageY = outlets.mirrorImageY;
    _whiteBalanceColor = outlets.whiteBalanceColor;
    _whiteBalanceEnable = outlets.whiteBalanceEnable;

    struct Binding {
        char const* name;
        ParamControl* control;
    };
    for (Binding const& binding : {Binding{"_whiteBalanceEnable", _whiteBalanceEnable},
                                   Binding{"_mirrorImageX", _mirrorImageX},
                                   Binding{"_mirrorImageY", _mirrorImageY},
                                   Binding{"_whiteBalanceColor", _whiteBalanceColor},
                                   Binding{"_exposureSlider", _exposureSlider},
                                   Binding{"_brightnessSlider", _brightnessSlider},
                                   Binding{"_contrastSlider", _contrastSlider},
                                   Binding{"_saturationSlider", _saturationSlider}}) {
        if (binding.control != nullptr) {
            mMapping.SetParamControl(binding.name, binding.control);
        }
    }
    std::array<NSUISlider*, 10> const alignAndMatch = AlignAndMatchSliders(outlets);
    for (std::size_t i = 0; i < alignAndMatch.size(); ++i) {
        if (alignAndMatch[i] != nullptr) {
            mMapping.SetParamControl(kAlignAndMatchNames[i], alignAndMatch[i]);
        }
    }
    std::vector<NSUISlider*> sliders{_brightnessSlider, _contrastSlider, _saturationSlider,
                                     _exposureSlider};
    sliders.insert(sliders.end(), alignAndMatch.begin(), alignAndMatch.end());
    for (NSUISlider* slider : sliders) {
        if (slider != nullptr) {
            connect(slider, &QSlider::valueChanged, this,
                    [this, slider] { controlsChanged(slider); });
        }
    }
    for (NSUISwitch* button : {_mirrorImageX, _mirrorImageY, _whiteBalanceEnable}) {
        if (button != nullptr) {
            connect(button, &QCheckBox::stateChanged, this,
                    [this, button] { controlsChanged(button); });
        }
    }
    if (_whiteBalanceColor != nullptr) {
        connect(_whiteBalanceColor, &NSUIColorWell::colorChanged, this,
                [this] { controlsChanged(_whiteBalanceColor); });
    }
    updateFilterStackState(nullptr);
}

CIImage NSUICICameraControls::filteredImage(CIImage const& image) const {
    // The transform goes first: a colour map acts on each pixel alone, so moving pixels
    // before or after it gives the same picture, and a transform that resamples (an
    // alignment's rotation, scale or part-pixel offset) then reads the frame's own memory and
    // hands each sampled row straight to the colour map: one pass, no intermediate frame.
    CIImage result = image.imageByApplyingTransform(_transform);
    result = Stage(_whitePointAdjust.get(), result);
    result = Stage(_exposure.get(), result);
    result = Stage(_color.get(), result);
    result = result.imageByApplyingColorMatrix(_colorMatch);
    return Stage(_crop.get(), result);
}

void NSUICICameraControls::updateFilterStackState(QObject* /*sender*/) {
    // A control that is not there leaves its stage as it is (at its identity).
    if (_whitePointAdjust) {
        bool const balance = _whiteBalanceEnable != nullptr && _whiteBalanceEnable->isOn() &&
                             _whiteBalanceColor != nullptr;
        _whitePointAdjust->setValue(balance ? _whiteBalanceColor->getCIColorOpaque()
                                            : defaultWhiteBalanceCIColor(),
                                    Key(CIWhitePointAdjustFilter::kInputColorKey));
    }
    if (_exposureSlider != nullptr) {
        SetNumber(_exposure.get(), CIExposureAdjustFilter::kInputEVKey,
                  _exposureSlider->floatValue());
    }
    struct ColorInput {
        NSUISlider* slider;
        char const* key;
    };
    for (ColorInput const& input :
         {ColorInput{_brightnessSlider, CIColorControlsFilter::kInputBrightnessKey},
          ColorInput{_contrastSlider, CIColorControlsFilter::kInputContrastKey},
          ColorInput{_saturationSlider, CIColorControlsFilter::kInputSaturationKey}}) {
        if (input.slider != nullptr) {
            SetNumber(_color.get(), input.key, input.slider->floatValue());
        }
    }
    ColorMatch const match = colorMatch();
    auto const matchRow = [&match](int channel) {
        CIColorMatrix::Row row{0.0, 0.0, 0.0, match.offset[channel] / 255.0};
        row[channel] = match.gain[channel];
        return row;
    };
    _colorMatch = CIColorMatrix::fromRows(matchRow(0), matchRow(1), matchRow(2));
    // Translate first, then flip, so the mirrored picture stays within the frame.
    QTransform transform;
    if (_mirrorImageX != nullptr && _mirrorImageX->isOn()) {
        transform.translate(NSUICICameraControls_FrameWidth, 0);
        transform.scale(-1, 1);
    }
    if (_mirrorImageY != nullptr && _mirrorImageY->isOn()) {
        transform.translate(0, NSUICICameraControls_FrameHeight);
        transform.scale(1, -1);
    }
    NSUIEyeAlignment aligned = alignment();
    aligned.horizontalOffset += mHorizontalShift;
    _transform = transform * aligned.transform();
    ++mRevision;
    emit filterStackChanged();
}

void NSUICICameraControls::resetDefaults(QObject* sender) {
    {
        std::vector<std::unique_ptr<QSignalBlocker>> blockers;
        for (QObject* control : std::initializer_list<QObject*>{
                 _whiteBalanceColor, _whiteBalanceEnable, _mirrorImageX, _mirrorImageY,
                 _exposureSlider, _brightnessSlider, _contrastSlider, _saturationSlider}) {
            if (control != nullptr) {
                blockers.push_back(std::make_unique<QSignalBlocker>(control));
            }
        }
        if (_whiteBalanceColor != nullptr) {
            _whiteBalanceColor->setColor(QColor::fromRgbF(1, 1, 1));
        }
        for (NSUISwitch* button : {_whiteBalanceEnable, _mirrorImageX, _mirrorImageY}) {
            if (button != nullptr) {
                button->setState(0);
            }
        }
        struct Reset {
            NSUISlider* slider;
            double value;
        };
        for (Reset const& reset : {Reset{_exposureSlider, 0.0}, Reset{_brightnessSlider, 0.0},
                                   Reset{_contrastSlider, 1.0}, Reset{_saturationSlider, 1.0}}) {
            if (reset.slider != nullptr) {
                reset.slider->setDoubleValue(reset.value);
            }
        }
        // The alignment and the match at their identities (a gain slider's 1, all else 0).
        for (NSUISlider* slider : AlignAndMatchSliders(mOutlets)) {
            if (slider != nullptr) {
                QSignalBlocker const blocker(slider);
                slider->setDoubleValue(0.0);
            }
        }
        for (NSUISlider* slider : mOutlets.matchGainSliders) {
            if (slider != nullptr) {
                QSignalBlocker const blocker(slider);
                slider->setDoubleValue(1.0);
            }
        }
    }
    updateFilterStackState(sender);
}

void NSUICICameraControls::preferencesSaveDefaults(QObject* /*sender*/) {
    UserDefaults::Batch batch(UserDefaults::standard());
    for (SliderKey const& entry : sliderKeys()) {
        NSUserDefaultSaveString(entry.slider != nullptr ? entry.slider->stringValue() : QString(),
                                entry.key);
    }
    for (SwitchKey const& entry : switchKeys()) {
        if (entry.button != nullptr) {
            NSUserDefaultSave(entry.button->state(), entry.key);
        }
    }
    NSUserDefaultSaveString(_whiteBalanceColor != nullptr
                                ? ParamConvert::GetColor3(*_whiteBalanceColor).toString()
                                : QString(),
                            "_whiteBalanceColor");
}

void NSUICICameraControls::preferencesLoadDefaults(QObject* sender) {
    for (SliderKey const& entry : sliderKeys()) {
        QString const text =
            NSUserDefaultLoadKind<QString>(entry.key, QString::fromLatin1(entry.fallback));
        if (entry.slider != nullptr) {
            QSignalBlocker const blocker(entry.slider);
            entry.slider->setStringValue(text);
        }
    }
    for (SwitchKey const& entry : switchKeys()) {
        double const state = NSUserDefaultLoadKind<double>(entry.key, 0.0);
        if (entry.button != nullptr) {
            QSignalBlocker const blocker(entry.button);
            entry.button->setState(state > 0.0 ? 1 : state < 0.0 ? -1 : 0);  // any number, or NaN
        }
    }
    // The white-balance colour is saved but not taken back: the well keeps its colour.
    updateFilterStackState(sender);
}

std::array<NSUICICameraControls::SliderKey, 4> NSUICICameraControls::sliderKeys() const {
    return {{{_exposureSlider, "_exposureSlider", "0.0"},
             {_brightnessSlider, "_brightnessSlider", "0.0"},
             {_contrastSlider, "_contrastSlider", "1.0"},
             {_saturationSlider, "_saturationSlider", "1.0"}}};
}

std::array<NSUICICameraControls::SwitchKey, 3> NSUICICameraControls::switchKeys() const {
    return {{{_mirrorImageX, "_mirrorImageX"},
             {_mirrorImageY, "_mirrorImageY"},
             {_whiteBalanceEnable, "_whiteBalanceEnable"}}};
}

bool NSUICICameraControls::isNeutral() const {
    bool const white = _whitePointAdjust == nullptr ||
                       _whitePointAdjust->colorForKey(
                           Key(CIWhitePointAdjustFilter::kInputColorKey)) ==
                           defaultWhiteBalanceCIColor();
    return white && NumberOf(_exposure.get(), CIExposureAdjustFilter::kInputEVKey, 0.0) == 0.0 &&
           NumberOf(_color.get(), CIColorControlsFilter::kInputSaturationKey, 1.0) == 1.0 &&
           NumberOf(_color.get(), CIColorControlsFilter::kInputBrightnessKey, 0.0) == 0.0 &&
           NumberOf(_color.get(), CIColorControlsFilter::kInputContrastKey, 1.0) == 1.0 &&
           _colorMatch.isIdentity() && _transform.isIdentity();
}

NSUIEyeAlignment NSUICICameraControls::alignment() const {
    NSUIEyeAlignment result;
    result.horizontalOffset = ValueOf(mOutlets.horizontalOffsetSlider, 0.0);
    result.verticalOffset = ValueOf(mOutlets.verticalOffsetSlider, 0.0);
    result.rotationDegrees = ValueOf(mOutlets.rotationSlider, 0.0);
    result.scale = 1.0 + ValueOf(mOutlets.scaleSlider, 0.0) / 100.0;
    return result;
}

void NSUICICameraControls::setAlignment(NSUIEyeAlignment const& alignment) {
    setSliders({{mOutlets.horizontalOffsetSlider, alignment.horizontalOffset},
                {mOutlets.verticalOffsetSlider, alignment.verticalOffset},
                {mOutlets.rotationSlider, alignment.rotationDegrees},
                {mOutlets.scaleSlider, (alignment.scale - 1.0) * 100.0}});
}

void NSUICICameraControls::setHorizontalShift(double pixels) {
    if (pixels != mHorizontalShift) {
        mHorizontalShift = pixels;
        updateFilterStackState(nullptr);
    }
}

NSUICICameraControls::ColorMatch NSUICICameraControls::colorMatch() const {
    ColorMatch match;
    for (int channel = 0; channel < 3; ++channel) {
        match.gain[channel] = ValueOf(mOutlets.matchGainSliders[channel], 1.0);
        match.offset[channel] = ValueOf(mOutlets.matchOffsetSliders[channel], 0.0);
    }
    return match;
}

void NSUICICameraControls::setColorMatch(ColorMatch const& match) {
    setSliders({{mOutlets.matchGainSliders[0], match.gain[0]},
                {mOutlets.matchGainSliders[1], match.gain[1]},
                {mOutlets.matchGainSliders[2], match.gain[2]},
                {mOutlets.matchOffsetSliders[0], match.offset[0]},
                {mOutlets.matchOffsetSliders[1], match.offset[1]},
                {mOutlets.matchOffsetSliders[2], match.offset[2]}});
}

void NSUICICameraControls::setSliders(
    std::initializer_list<std::pair<NSUISlider*, double>> values) {
    for (auto const& [slider, value] : values) {
        if (slider != nullptr) {
            QSignalBlocker const blocker(slider);
            slider->setDoubleValue(value);
        }
    }
    updateFilterStackState(nullptr);
}

void NSUICICameraControls::pickWhiteReference(QColor const& color) {
    if (_whiteBalanceColor == nullptr || _whiteBalanceEnable == nullptr) {
        return;
    }
    QSignalBlocker const blockColor(_whiteBalanceColor);
    QSignalBlocker const blockSwitch(_whiteBalanceEnable);
    _whiteBalanceColor->setColor(color);
    _whiteBalanceEnable->setState(1);
    updateFilterStackState(_whiteBalanceColor);
}

void NSUICICameraControls::saveEyeSettings(QString const& prefix) const {
    QVariantMap values;
    mMapping.AddParamsToDictionary(values);
    UserDefaults& defaults = UserDefaults::standard();
    UserDefaults::Batch batch(defaults);
    for (auto entry = values.constBegin(); entry != values.constEnd(); ++entry) {
        std::string const key = (prefix + '.' + entry.key()).toStdString();
        if (entry.value().typeId() == QMetaType::QString) {
            defaults.setString(key, entry.value().toString().toStdString());
        } else {
            defaults.setNumber(key, entry.value().toDouble());
        }
    }
}

void NSUICICameraControls::restoreEyeSettings(QString const& prefix) {
    UserDefaults const& defaults = UserDefaults::standard();
    QVariantMap values;
    for (int i = 0; i < mMapping.count(); ++i) {
        QString const name = QString::fromLatin1(mMapping.ParamFromIndex(i).paramName);
        std::string const key = (prefix + '.' + name).toStdString();
        if (std::optional<double> const number = defaults.numberForKey(key)) {
            values.insert(name, *number);
        } else if (std::optional<std::string> const text = defaults.stringForKey(key)) {
            values.insert(name, QString::fromStdString(*text));
        }
    }
    if (values.isEmpty()) {
        return;  // nothing stored for this eye yet
    }
    {
        std::vector<std::unique_ptr<QSignalBlocker>> blockers;
        for (int i = 0; i < mMapping.count(); ++i) {
            if (auto* control = dynamic_cast<QObject*>(mMapping.ParamFromIndex(i).paramControl)) {
                blockers.push_back(std::make_unique<QSignalBlocker>(control));
            }
        }
        mMapping.SetControlValuesFromDictionary(&values);
    }
    updateFilterStackState(nullptr);
}

// One slider of the panel.
struct NSUIAdjustSliderInfo {
    char const* title;
    char const* name;  // the slider's object name
    double minValue;
    double maxValue;
    double increment;
    double identity;
    int decimals;  // of the value shown beside it
    char const* toolTip;
};

NSUISlider* NSUICameraAdjustPanel::addSlider(QGridLayout* grid, int row, int column,
                                             NSUIAdjustSliderInfo const& info) {
    auto* slider = new NSUISlider(this);
    slider->setRange(info.minValue, info.maxValue, info.increment);
    slider->setDoubleValue(info.identity);
    slider->setToolTip(tr(info.toolTip));
    slider->setObjectName(QString::fromLatin1(info.name));
    auto* value = new QLabel(this);
    value->setMinimumWidth(value->fontMetrics().horizontalAdvance("-00.00") + 4);
    value->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    // The value follows the slider, also when the controller sets it with signals blocked.
    auto const show = [value, slider, decimals = info.decimals] {
        value->setText(QString::number(slider->doubleValue(), 'f', decimals));
    };
    show();
    connect(slider, &QSlider::valueChanged, value, show);
    connect(mControls, &NSUICICameraControls::filterStackChanged, value, show);
    if (info.title != nullptr) {
        grid->addWidget(new QLabel(tr(info.title), this), row, column++);
    }
    grid->addWidget(slider, row, column);
    grid->addWidget(value, row, column + 1);
    return slider;
}

NSUICameraAdjustPanel::NSUICameraAdjustPanel(QWidget* parent)
    : QWidget(parent), mControls(new NSUICICameraControls(this)), mPick(new QToolButton(this)) {
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(4, 4, 4, 4);
    auto* pages = new QTabWidget(this);
    pages->setObjectName("adjustPages");
    pages->setDocumentMode(true);
    layout->addWidget(pages);
    auto* colourPage = new QWidget(pages);
    auto* alignPage = new QWidget(pages);
    pages->addTab(colourPage, tr("Colour"));
    pages->addTab(alignPage, tr("Align"));

    auto* grid = new QGridLayout(colourPage);
    grid->setContentsMargins(2, 2, 2, 2);
    grid->setVerticalSpacing(2);
    NSUICICameraControls::Outlets outlets;
    NSUIAdjustSliderInfo const colourInfos[] = {
        {"Exposure", "exposureSlider", -2.0, 2.0, 0.02, 0.0, 2, "Light in stops: +1 doubles it"},
        {"Brightness", "brightnessSlider", -0.5, 0.5, 0.01, 0.0, 2, "Added to every colour"},
        {"Contrast", "contrastSlider", 0.5, 2.0, 0.01, 1.0, 2,
         "Spread of the tones around mid-grey"},
        {"Saturation", "saturationSlider", 0.0, 2.0, 0.01, 1.0, 2,
         "0 is grey, 1 as the camera sees it"},
    };
    NSUISlider** targets[] = {&outlets.exposureSlider, &outlets.brightnessSlider,
                              &outlets.contrastSlider, &outlets.saturationSlider};
    int row = 0;
    for (NSUIAdjustSliderInfo const& info : colourInfos) {
        *targets[row] = addSlider(grid, row, 0, info);
        ++row;
    }

    auto* mirrors = new QHBoxLayout();
    outlets.mirrorImageX = new NSUISwitch(tr("Left-right"), this);
    outlets.mirrorImageY = new NSUISwitch(tr("Upside down"), this);
    outlets.mirrorImageX->setObjectName("mirrorImageX");
    outlets.mirrorImageY->setObjectName("mirrorImageY");
    mirrors->addWidget(outlets.mirrorImageX);
    mirrors->addWidget(outlets.mirrorImageY);
    mirrors->addStretch();
    grid->addWidget(new QLabel(tr("Mirror"), this), row, 0);
    grid->addLayout(mirrors, row++, 1, 1, 2);

    auto* white = new QHBoxLayout();
    outlets.whiteBalanceEnable = new NSUISwitch(tr("Balance"), this);
    outlets.whiteBalanceEnable->setObjectName("whiteBalanceEnable");
    outlets.whiteBalanceEnable->setToolTip(tr("Make the reference colour white"));
    outlets.whiteBalanceColor = new NSUIColorWell(this);
    outlets.whiteBalanceColor->setObjectName("whiteBalanceColor");
    mPick->setText(tr("Pick"));
    mPick->setCheckable(true);
    mPick->setObjectName("pickWhite");
    mPick->setToolTip(tr("Click a grey or white object in the eye's picture"));
    white->addWidget(outlets.whiteBalanceEnable);
    white->addWidget(outlets.whiteBalanceColor);
    white->addWidget(mPick);
    white->addStretch();
    grid->addWidget(new QLabel(tr("White"), this), row, 0);
    grid->addLayout(white, row++, 1, 1, 2);
    grid->setRowStretch(row, 1);
    grid->setColumnStretch(1, 1);

    // The alignment: offsets, rotation and scale, then the colour match as a gain and an
    // offset for each channel, side by side.
    auto* alignColumn = new QVBoxLayout(alignPage);
    alignColumn->setContentsMargins(2, 2, 2, 2);
    auto* align = new QGridLayout();
    align->setVerticalSpacing(2);
    auto* match = new QGridLayout();
    match->setVerticalSpacing(2);
    alignColumn->addLayout(align);
    alignColumn->addLayout(match);
    alignColumn->addStretch();
    NSUIAdjustSliderInfo const alignInfos[] = {
        {"Across", "horizontalOffsetSlider", -64.0, 64.0, 0.25, 0.0, 2,
         "Horizontal offset in pixels, positive to the right"},
        {"Up-down", "verticalOffsetSlider", -64.0, 64.0, 0.25, 0.0, 2,
         "Vertical offset in pixels, positive down"},
        {"Rotation", "rotationSlider", -5.0, 5.0, 0.05, 0.0, 2,
         "Degrees about the centre, positive clockwise"},
        {"Scale", "scaleSlider", -5.0, 5.0, 0.05, 0.0, 2, "Percent larger (or smaller)"},
    };
    NSUISlider** alignTargets[] = {&outlets.horizontalOffsetSlider, &outlets.verticalOffsetSlider,
                                   &outlets.rotationSlider, &outlets.scaleSlider};
    row = 0;
    for (NSUIAdjustSliderInfo const& info : alignInfos) {
        *alignTargets[row] = addSlider(align, row, 0, info);
        ++row;
    }
    align->setColumnStretch(1, 1);
    row = 0;
    auto* matchTitle = new QLabel(tr("Colour match: gain, offset"), this);
    matchTitle->setToolTip(tr("value x gain + offset, set by Match colours in the window"));
    match->addWidget(matchTitle, row++, 0, 1, 5);
    char const* const channels[] = {"Red", "Green", "Blue"};
    char const* const gainNames[] = {"redGainSlider", "greenGainSlider", "blueGainSlider"};
    char const* const offsetNames[] = {"redOffsetSlider", "greenOffsetSlider", "blueOffsetSlider"};
    for (int channel = 0; channel < 3; ++channel) {
        outlets.matchGainSliders[channel] = addSlider(match, row, 0,
                                                      {channels[channel], gainNames[channel], 0.5,
                                                       2.0, 0.005, 1.0, 3, "Gain of the channel"});
        outlets.matchOffsetSliders[channel] =
            addSlider(match, row, 3,
                      {nullptr, offsetNames[channel], -64.0, 64.0, 0.5, 0.0, 1,
                       "Offset of the channel in levels of 0..255"});
        ++row;
    }
    match->setColumnStretch(1, 1);
    match->setColumnStretch(3, 1);

    auto* buttons = new QHBoxLayout();
    struct Action {
        char const* title;
        char const* toolTip;
        void (NSUICICameraControls::*action)(QObject*);
    };
    for (Action const& action :
         {Action{"Reset", "Factory settings", &NSUICICameraControls::resetDefaults},
          Action{"Save", "Store these settings as the shared defaults",
                 &NSUICICameraControls::preferencesSaveDefaults},
          Action{"Load", "Take the shared defaults (the white reference stays)",
                 &NSUICICameraControls::preferencesLoadDefaults}}) {
        auto* button = new QPushButton(tr(action.title), this);
        button->setToolTip(tr(action.toolTip));
        button->setObjectName(QString::fromLatin1(action.title).toLower() + "Button");
        connect(button, &QPushButton::clicked, mControls,
                [this, button, method = action.action] { (mControls->*method)(button); });
        buttons->addWidget(button);
    }
    layout->addLayout(buttons);
    mControls->setOutlets(outlets);
}

bool import_NSUICICameraControls() { return true; }
