#pragma once

#include <QtGlobal>
#include <atomic>

// The lifecycle of a per-account model, driven by the host: construction, initConnection,
// loadLocalData, then getNewData from time to time; at sign-out prepareToClearData, clearData
// and deletion. The flags say whether the host switches accounts quickly (skip heavy work).
class ModelBase
{
public:
    virtual ~ModelBase();

    virtual void initConnection();
    virtual void initData();
    virtual void movingData();
    virtual void loadLocalData(bool bFast);
    virtual void prepareToClearData(bool bFast);
    virtual void clearData(bool bFast);
    virtual void getNewData();

    // Read without a lock from any thread.
    bool isClearing() const { return m_clearing.load(); }
    void setClearing(bool clearing) { m_clearing.store(clearing); }

private:
    std::atomic<bool> m_clearing {false};
};
