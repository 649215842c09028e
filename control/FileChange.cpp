#include "control/FileChange.h"

#include <iostream>

#include "control/PreferenceLock.h"

void changeFile(const ChangeOptions& options, Refused refused, const std::function<bool(PreferenceFile&)>& change)
{
    PreferenceFile file(options.file.chosen());
    file.requireRightToReplace();
    bool written = false;
    {
        const PreferenceLock lock(options.timeout);
        if (refused == Refused::MayBeReplaced)
            static_cast<void>(file.read());
        else
            file.requireUnlessMissing();
        written = change(file);
        if (written)
            file.write();
    }
    if (written && !file.report.passedOver.empty())
        std::cerr << "ostrivanectl: lost from the old file: " << lossesOf(file.report) << '\n';
}
