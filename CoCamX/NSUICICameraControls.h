#pragma once
// One eye's adjustment stack and the controls that drive it. The stack is a fixed chain:
// white point, exposure, colour controls (saturation, brightness, contrast), the colour match
// (a gain and an offset per channel, which brings this eye's colours to the other eye's), the
// mirroring and alignment transform and a crop to the 640 x 480 frame. No stage is ever left
// out; a stage is neutral by its parameters, and an eye whose whole stack is neutral passes its
// frames on untouched. The whole stack renders in one pass over the frame.
//
// The controller keeps the filters in step with its controls, stores the controls in the
// user's defaults under shared keys (Save, Load), and keeps each eye's settings under that
// eye's own keys between runs. The alignment and the colour match belong to one camera of one
// rig: they are kept with the eye's own settings only, never under the shared keys.

#include <array>
#include <initializer_list>
#include <memory>
#include <utility>

#include <QObject>
#include <QTransform>
#include <QWidget>

#include "CoCamX/NSUIEyeAlignment.h"
#include "CocoaX/ParamMapping.h"
#include "platform/imaging/CIColor.h"
#include "platform/imaging/CIColorMatrix.h"
#include "platform/imaging/CIImage.h"

class CIFilter;
class NSUIColorWell;
class NSUISlider;
class NSUISwitch;
struct NSUIAdjustSliderInfo;
class QGridLayout;
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
        // The alignment: offsets in pixels, rotation in degrees, scale in percent from 100.
        NSUISlider* horizontalOffsetSlider = nullptr;
        NSUISlider* verticalOffsetSlider = nullptr;
        NSUISlider* rotationSlider = nullptr;
        NSUISlider* scaleSlider = nullptr;
        // The colour match of red, green and blue: gains, and offsets in levels of 0..255.
        std::array<NSUISlider*, 3> matchGainSliders{};
        std::array<NSUISlider*, 3> matchOffsetSliders{};
    };

    // value' = gain x value + offset for red, green and blue, values in levels of 0..255.
    struct ColorMatch {
        std::array<double, 3> gain{1.0, 1.0, 1.0};
        std::array<double, 3> offset{0.0, 0.0, 0.0};
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

    // The alignment the sliders hold (without the horizontal shift), and setting them.
    NSUIEyeAlignment alignment() const;
    void setAlignment(NSUIEyeAlignment const& alignment);
    // A horizontal shift added to the alignment's offset by the window (the eyes'
    // convergence); not one of this eye's settings.
    void setHorizontalShift(double pixels);
    double horizontalShift() const { return mHorizontalShift; }
    ColorMatch colorMatch() const;
    void setColorMatch(ColorMatch const& match);

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
    // Sets sliders without each one announcing itself, then updates the stack once.
    void setSliders(std::initializer_list<std::pair<NSUISlider*, double>> values);

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
    CIColorMatrix _colorMatch;

    Outlets mOutlets;
    unsigned mRevision = 0;
    double mHorizontalShift = 0.0;
    // The eye's own settings: the switches first, so a restored colour or slider never
    // acts on a stack whose switches are still the old ones.
    tagParamMapItem mItems[19];
    ParamMapping mMapping;
};

// One eye's adjustment panel on two pages: Colour (the four sliders with their values, the
// mirror switches, the white balance with its switch, well and a Pick button) and Align (the
// offsets, rotation and scale, and the colour match's gains and offsets), with Reset, Save
// and Load below both.
class NSUICameraAdjustPanel : public QWidget {
    Q_OBJECT
public:
    explicit NSUICameraAdjustPanel(QWidget* parent = nullptr);

    NSUICICameraControls* controls() const { return mControls; }
    // Checked while the user picks the white reference in the eye view.
    QToolButton* pickButton() const { return mPick; }

private:
    // A slider with its title (unless null) and its value to the right, from `column` on.
    NSUISlider* addSlider(QGridLayout* grid, int row, int column, NSUIAdjustSliderInfo const& info);

    NSUICICameraControls* mControls;
    QToolButton* mPick;
};

bool import_NSUICICameraControls();
