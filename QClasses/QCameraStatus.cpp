#include "QClasses/QCameraStatus.h"

#include <cstdio>

std::string QCameraStatus::Text(char const* eye) const {
    std::string text = std::string(eye) + ": ";
    if (camera.empty()) {
        text += "no camera";
    } else {
        char detail[96];
        std::snprintf(detail, sizeof(detail), " · %s %dx%d · %.1f fps",
                      PixelFourCCText(format).c_str(), width, height, framesPerSecond);
        text += camera + detail;
        if (framesDropped != 0) {
            text += " · " + std::to_string(framesDropped) + " dropped";
        }
        if (pairingErrorMs >= 0.0) {
            std::snprintf(detail, sizeof(detail), " · eyes %.0f ms apart", pairingErrorMs);
            text += detail;
        }
    }
    if (!trouble.empty()) {
        text += " · " + trouble;
    }
    return text;
}
