#include "tasks/TaskManagerDelegate.h"

TaskManagerDelegate::~TaskManagerDelegate() = default;
