#pragma once

#include <host/ffmpeg/failure.h>
