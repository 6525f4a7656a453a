#include "modelbase.h"

ModelBase::~ModelBase() = default;

void ModelBase::initConnection() { }

void ModelBase::initData() { }

void ModelBase::movingData() { }

void ModelBase::loadLocalData(bool bFast)
{
    Q_UNUSED(bFast)
}

void ModelBase::prepareToClearData(bool bFast)
{
    Q_UNUSED(bFast)
    setClearing(true);
}

void ModelBase::clearData(bool bFast)
{
    Q_UNUSED(bFast)
}

void ModelBase::getNewData() { }
