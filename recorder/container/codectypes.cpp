#include "recorder/container/codectypes.h"

#include "platform/recording.h"

std::string GetAudioType(int audType) {
    switch (audType) {
    case recorder::AUDIO_AAC:
        return "AAC";
    case recorder::AUDIO_PCM:
        return "PCM";
    case recorder::AUDIO_G711U:
        return "G711U";
    case recorder::AUDIO_G711A:
        return "G711A";
    case recorder::AUDIO_G726:
        return "G726";
    case recorder::AUDIO_MP3:
        return "MP3";
    default:
        return "";
    }
}
