#include "tasks/TaskDelegate.h"

TaskDelegate::~TaskDelegate() = default;
