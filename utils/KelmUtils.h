#pragma once

// Every public header of the library.

#include "data/Array.h"
#include "data/Color.h"
#include "data/IApplication.h"
#include "data/IDataItem.h"
#include "data/Interval.h"
#include "data/String.h"
#include "data/Variant.h"
#include "data/VariantCollection.h"
#include "utils/Application.h"
#include "utils/feedback/Progress.h"
#include "utils/feedback/WaitCursor.h"
#include "utils/files/File.h"
#include "utils/script/IScriptableModule.h"
#include "utils/signals/ConditionalSlot.h"
#include "utils/signals/DelayedSlot.h"
#include "utils/signals/PublicSignal.h"
#include "utils/signals/Signal.h"
#include "utils/signals/SignalBlocker.h"
#include "utils/signals/Slot.h"
#include "utils/signals/SlotCB.h"
