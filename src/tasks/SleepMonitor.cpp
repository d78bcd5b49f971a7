#include "tasks/SleepMonitor.h"

SleepMonitor::~SleepMonitor() = default;
