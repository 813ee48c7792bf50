#pragma once
// One eye's adjustment stack and the controls that drive it. The stack is a fixed chain:
// white point, exposure, colour controls (saturation, brightness, contrast), the mirroring
// transform and a crop to the 640 x 480 frame. No stage is ever left out; a stage is neutral
// by its parameters, and an eye whose whole stack is neutral passes its frames on untouched.
//
// The controller keeps the filters in step with its controls, stores the controls in the
// user's defaults under shared keys (Save, Load), and keeps each eye's settings under that
// eye's own keys between runs.

#include <array>
#include <memory>

#include <QObject>
#include <QTransform>
#include <QWidget>

#include "CocoaX/ParamMapping.h"
#include "platform/imaging/CIColor.h"
#include "platform/imaging/CIImage.h"

class CIFilter;
class NSUIColorWell;
class NSUISlider;
class NSUISwitch;
class QLabel;
class QToolButton;

// The size of every camera picture.
inline constexpr double NSUICICameraControls_FrameWidth = 640.0;
inline constexpr double NSUICICameraControls_FrameHeight = 480.0;

class NSUICICameraControls : public QObject {
    Q_OBJECT
public:
    struct Outlets {
        NSUISlider* brightnessSlider = nullptr;
        NSUISlider* contrastSlider = nullptr;
        NSUISlider* saturationSlider = nullptr;
        NSUISlider* exposureSlider = nullptr;
        NSUISwitch* mirrorImageX = nullptr;
        NSUISwitch* mirrorImageY = nullptr;
        NSUIColorWell* whiteBalanceColor = nullptr;
        NSUISwitch* whiteBalanceEnable = nullptr;
    };

    // Builds the filters, each at its identity, and a crop to the frame.
    explicit NSUICICameraControls(QObject* parent = nullptr);
    ~NSUICICameraControls() override;

    // Makes the built-in filters known, once.
    static void loadCoreImagePlugIns();
    // Sets the filter's parameter `key` to the identity its attributes give.
    static void setDefaultIdentity(CIFilter* filter, QString const& key);
    static CIColor defaultWhiteBalanceCIColor() { return CIColor::colorWithRed(1.0, 1.0, 1.0); }

    // Connects the controls; each one's change runs controlsChanged.
    void setOutlets(Outlets const& outlets);
    Outlets const& outlets() const { return mOutlets; }

    // The image through the five stages (a recipe: nothing is computed here).
    CIImage filteredImage(CIImage const& image) const;
    void controlsChanged(QObject* sender) { updateFilterStackState(sender); }
    // Copies the controls' values into the filters.
    void updateFilterStackState(QObject* sender);
    void resetDefaults(QObject* sender);
    // Stores the controls under the shared keys ("_exposureSlider", ...).
    void preferencesSaveDefaults(QObject* sender);
    // Restores the controls from the shared keys, except the white-balance colour, which
    // keeps what it has.
    void preferencesLoadDefaults(QObject* sender);

    // True when every stage is at its identity: the stack would give the frame back.
    bool isNeutral() const;
    QTransform const& transform() const { return _transform; }
    // Counts the changes of the filters' parameters, so users can cache what they build.
    unsigned revision() const { return mRevision; }

    // The white reference picked from the picture: the well takes it and balancing is on.
    void pickWhiteReference(QColor const& color);

    // This eye's settings under "<prefix>.<control name>" (e.g. "leftEye._exposureSlider"),
    // written in one batch; restoring applies what is stored and leaves the rest.
    void saveEyeSettings(QString const& prefix) const;
    void restoreEyeSettings(QString const& prefix);

signals:
    // The filters' parameters changed.
    void filterStackChanged();

private:
    // The controls under their shared keys, with the sliders' fallbacks.
    struct SliderKey {
        NSUISlider* slider;
        char const* key;
        char const* fallback;
    };
    struct SwitchKey {
        NSUISwitch* button;
        char const* key;
    };
    std::array<SliderKey, 4> sliderKeys() const;
    std::array<SwitchKey, 3> switchKeys() const;

    NSUISlider* _brightnessSlider = nullptr;
    NSUISlider* _contrastSlider = nullptr;
    NSUISlider* _saturationSlider = nullptr;
    NSUISlider* _exposureSlider = nullptr;
    NSUISwitch* _mirrorImageX = nullptr;
    NSUISwitch* _mirrorImageY = nullptr;
    NSUIColorWell* _whiteBalanceColor = nullptr;
    NSUISwitch* _whiteBalanceEnable = nullptr;
    std::unique_ptr<CIFilter> _whitePointAdjust;
    std::unique_ptr<CIFilter> _exposure;
    std::unique_ptr<CIFilter> _color;
    std::unique_ptr<CIFilter> _crop;
    QTransform _transform;

    Outlets mOutlets;
    unsigned mRevision = 0;
    // The eye's own settings: the switches first, so a restored colour or slider never
    // acts on a stack whose switches are still the old ones.
    tagParamMapItem mItems[9];
    ParamMapping mMapping;
};

// One eye's adjustment panel: the four sliders with their values, the mirror switches, the
// white balance (switch, well and a Pick button), and Reset, Save and Load.
class NSUICameraAdjustPanel : public QWidget {
    Q_OBJECT
public:
    explicit NSUICameraAdjustPanel(QWidget* parent = nullptr);

    NSUICICameraControls* controls() const { return mControls; }
    // Checked while the user picks the white reference in the eye view.
    QToolButton* pickButton() const { return mPick; }

private:
    NSUICICameraControls* mControls;
    QToolButton* mPick;
};

bool import_NSUICICameraControls();
