// The inputs of a run: which files, which of their streams, and the test
// pattern when there are none.
#ifndef QVENCODE_INPUTS_H
#define QVENCODE_INPUTS_H

#include "InputFile.h"
#include "Options.h"
#include "Sources.h"

#include <memory>
#include <string>

namespace qvenc {

struct Inputs {
    std::unique_ptr<InputFile> videoFile;  // -i
    std::unique_ptr<InputFile> audioFile;  // -a; audio may also come from videoFile
    VideoSource video;
    AudioSource audio;
};

// Opens the inputs the options name, picks their streams and decodes the
// first picture and block of each. Returns 0, or the exit code with `error`
// set (an input that cannot be opened or decoded: 2).
int OpenInputs(const Options& options, Inputs& inputs, std::string& error);

}  // namespace qvenc

#endif
