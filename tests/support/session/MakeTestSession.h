#pragma once

#include "session/Session.h"

#include <memory>

class DesktopPlatform;
class FakeAudioInput;
class FakeSpeechRecognizer;

// The dictation fakes inside a Session made by makeTestSession, for tests that speak into it.
struct SessionDictationFakes
{
    FakeAudioInput* microphone = nullptr;
    FakeSpeechRecognizer* recognizer = nullptr;
};

// Every test builds its Session here: on a desktop the test owns, with fake dictation. By default the
// auto-insert preference is read from the user settings, as the application does.
std::unique_ptr<Session> makeTestSession(DesktopPlatform& desktop, SessionDictationFakes* fakes = nullptr,
                                         Session::AutoInsertPreference autoInsertPreferred = {});
