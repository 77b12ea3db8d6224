/// Writes the recording format to standard output.
#include "RecordingOutput.h"

#include "Printing.h"

namespace cri_monitor {

bool RecordingOutput::Begin() {
    return Print(cri_recording::RecordingHeader() + '\n');
}

bool RecordingOutput::Write(const cri_recording::RecordingLine& line) {
    return Print(cri_recording::FormatLine(line) + '\n');
}

}  // namespace cri_monitor
