#pragma once

#include "FakeAudioInput.h"
#include "FakeSpeechRecognizer.h"
#include "desktop/Dictation.h"
#include "session/Session.h"

#include <memory>

// The one place the app tests build a Session: over the fake microphone and recogniser, whose handles
// are returned for the test to drive.
struct AppTestSession
{
    std::unique_ptr<Session> session;
    FakeAudioInput* microphone = nullptr;
    FakeSpeechRecognizer* recognizer = nullptr;
};

inline AppTestSession
makeAppTestSession(SpeechRecognizer::Readiness readiness = SpeechRecognizer::Readiness::Ready)
{
    auto microphone = std::make_unique<FakeAudioInput>();
    auto recognizer = std::make_unique<FakeSpeechRecognizer>(readiness);
    AppTestSession made{nullptr, microphone.get(), recognizer.get()};
    made.session =
        std::make_unique<Session>(std::make_unique<Dictation>(std::move(microphone), std::move(recognizer)));
    return made;
}
