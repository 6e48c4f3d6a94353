#include "desktop/Dictation.h"
#include "desktop/audio/QtAudioInput.h"
#include "desktop/pocketsphinx/PocketSphinxRecognizer.h"

Dictation::Dictation(QObject* parent)
    : Dictation(std::make_unique<QtAudioInput>(), std::make_unique<PocketSphinxRecognizer>(), parent)
{}
