#include "model/DatabaseControllerDelegate.h"

DatabaseControllerDelegate::~DatabaseControllerDelegate() = default;

DatabaseTaskControl::~DatabaseTaskControl() = default;
