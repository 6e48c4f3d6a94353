#include "MakeTestSession.h"

#include "FakeAudioInput.h"
#include "FakeSpeechRecognizer.h"
#include "config/Preferences.h"
#include "desktop/Dictation.h"

std::unique_ptr<Session> makeTestSession(DesktopPlatform& desktop, SessionDictationFakes* fakes,
                                         Session::AutoInsertPreference autoInsertPreferred)
{
    auto microphone = std::make_unique<FakeAudioInput>();
    auto recognizer = std::make_unique<FakeSpeechRecognizer>();
    if (fakes)
        *fakes = {microphone.get(), recognizer.get()};
    if (!autoInsertPreferred)
        autoInsertPreferred = &Preferences::autoInsert;
    return std::make_unique<Session>(
        desktop, std::make_unique<Dictation>(std::move(microphone), std::move(recognizer)),
        std::move(autoInsertPreferred));
}
