#include "actions/ActionClasses.h"

#include "actions/format/ChangeBitDepthAction.h"
#include "actions/format/ChangeFrameRateAction.h"
#include "actions/format/ChangeSampleRateAppleAction.h"
#include "actions/format/ChangeSampleRateGoodhertzAction.h"
#include "actions/format/ChangeToAACAction.h"
#include "actions/format/ChangeToAIFFAction.h"
#include "actions/format/ChangeToALACAction.h"
#include "actions/format/ChangeToAUAction.h"
#include "actions/format/ChangeToCAFAction.h"
#include "actions/format/ChangeToFLACAction.h"
#include "actions/format/ChangeToFLACAdvancedAction.h"
#include "actions/format/ChangeToMP3Action.h"
#include "actions/format/ChangeToVOXAction.h"
#include "actions/format/ChangeToVorbisAction.h"
#include "actions/format/ChangeToVorbisAdvancedAction.h"
#include "actions/format/ChangeToWAV64Action.h"
#include "actions/format/ChangeToWAVEAction.h"
#include "actions/format/FixSampleRateAction.h"
#include "actions/format/GoodhertzDitherAction.h"
#include "actions/trim/TrimBeginningBelowAction.h"
#include "actions/trim/TrimEndBelowAction.h"
#include "actions/trim/DetachBeginningBelowAction.h"
#include "actions/trim/DetachEndBelowAction.h"
#include "actions/trim/TrimBeginningToAction.h"
#include "actions/trim/TrimEndForAction.h"
#include "actions/trim/DetachBeginningToAction.h"
#include "actions/trim/DetachEndForAction.h"
#include "actions/trim/TrimBeginningToPeakAction.h"
#include "actions/trim/TrimAroundLoopAction.h"
#include "actions/trim/ShortenAction.h"
#include "actions/multioutput/DeinterleaveAction.h"
#include "actions/multioutput/ExtractChannelsAction.h"
#include "actions/fade/FadeInBelowAction.h"
#include "actions/fade/FadeOutBelowAction.h"
#include "actions/fade/FadeInForAction.h"
#include "actions/fade/FadeOutForAction.h"
#include "actions/fade/ChangeGainAction.h"
#include "actions/fade/NormalizeAction.h"
#include "actions/fade/PadAction.h"
#include "actions/fade/ExtendAction.h"
#include "actions/fade/ChangeLengthAction.h"
#include "actions/fade/RepeatAction.h"
#include "actions/fade/ReverseAction.h"
#include "actions/save/SaveAction.h"
#include "actions/save/SaveActionFilenameAnalysisToken.h"
#include "actions/save/SaveActionFilenameCounterToken.h"
#include "actions/save/SaveActionFilenameDateToken.h"
#include "actions/save/SaveActionFilenameFilenameToken.h"
#include "actions/save/SaveActionFilenamePropertyToken.h"
#include "actions/save/SaveActionFilenameTextFileToken.h"
#include "actions/save/SaveActionFilenameTextToken.h"
#include "catalog/CatalogClasses.h"
#include "process/ProcessClasses.h"

#include <mutex>

namespace ondrel {

void registerActionClasses() {
    registerProcessClasses();
    registerCatalogClasses();
    static std::once_flag once;
    std::call_once(once, [] {
        SaveAction::staticClassInfo();
        SaveActionFilenameToken::staticClassInfo();
        SaveActionFilenameFilenameToken::staticClassInfo();
        SaveActionFilenameTextToken::staticClassInfo();
        SaveActionFilenameCounterToken::staticClassInfo();
        SaveActionFilenameDateToken::staticClassInfo();
        SaveActionFilenamePropertyToken::staticClassInfo();
        SaveActionFilenameAnalysisToken::staticClassInfo();
        SaveActionFilenameTextFileToken::staticClassInfo();
        ChangeBitDepthAction::staticClassInfo();
        ChangeFrameRateAction::staticClassInfo();
        ChangeSampleRateAppleAction::staticClassInfo();
        ChangeSampleRateGoodhertzAction::staticClassInfo();
        ChangeToAACAction::staticClassInfo();
        ChangeToAIFFAction::staticClassInfo();
        ChangeToALACAction::staticClassInfo();
        ChangeToAUAction::staticClassInfo();
        ChangeToCAFAction::staticClassInfo();
        ChangeToFLACAction::staticClassInfo();
        ChangeToFLACAdvancedAction::staticClassInfo();
        ChangeToMP3Action::staticClassInfo();
        ChangeToVOXAction::staticClassInfo();
        ChangeToVorbisAction::staticClassInfo();
        ChangeToVorbisAdvancedAction::staticClassInfo();
        ChangeToWAV64Action::staticClassInfo();
        ChangeToWAVEAction::staticClassInfo();
        FixSampleRateAction::staticClassInfo();
        GoodhertzDitherAction::staticClassInfo();
        TrimBeginningBelowAction::staticClassInfo();
        TrimEndBelowAction::staticClassInfo();
        DetachBeginningBelowAction::staticClassInfo();
        DetachEndBelowAction::staticClassInfo();
        TrimBeginningToAction::staticClassInfo();
        TrimEndForAction::staticClassInfo();
        DetachBeginningToAction::staticClassInfo();
        DetachEndForAction::staticClassInfo();
        TrimBeginningToPeakAction::staticClassInfo();
        TrimAroundLoopAction::staticClassInfo();
        ShortenAction::staticClassInfo();
        DeinterleaveAction::staticClassInfo();
        ExtractChannelsAction::staticClassInfo();
        FadeInBelowAction::staticClassInfo();
        FadeOutBelowAction::staticClassInfo();
        FadeInForAction::staticClassInfo();
        FadeOutForAction::staticClassInfo();
        ChangeGainAction::staticClassInfo();
        NormalizeAction::staticClassInfo();
        PadAction::staticClassInfo();
        ExtendAction::staticClassInfo();
        ChangeLengthAction::staticClassInfo();
        RepeatAction::staticClassInfo();
        ReverseAction::staticClassInfo();
    });
}

} // namespace ondrel
