#pragma once

#include <sndfile.h>

#include <memory>

namespace App {

struct SoundFileCloser {
    void operator()(SNDFILE* file) const { sf_close(file); }
};

/// An open file of the sound library.
using SoundFile = std::unique_ptr<SNDFILE, SoundFileCloser>;

}  // namespace App
