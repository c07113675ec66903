#pragma once

#include <QObject>
#include <QString>
#include <QVariant>
#include <QtPlugin>

class QQmlContext;
class ConfigBase;
class FrameworkWrapperBase;

#define PluginBase_iid "com.ZANMORA.UIFramework.PluginInterface"

// The interface every plug-in of the host's UI framework implements.
//
// The host creates the plug-in object through QPluginLoader, calls
// InitialPluginBase once, then delivers the servers' replies through
// CommandProcessor and their broadcasts through EventProcessor, all on the GUI
// thread. The order of the virtual operations below is the host's binary
// contract and must not change.
class PluginBase : public QObject
{
    Q_OBJECT
public:
    explicit PluginBase(QObject* parent = nullptr) : QObject(parent) {}
    ~PluginBase() override = default;

    virtual bool InitialPluginBase(QQmlContext* context, void* handle, FrameworkWrapperBase* framework) = 0;
    virtual void EventProcessor(QString event, qint64 eventTime, int eventKind, int eventSource,
                                QVariant data, const QString& target) = 0;
    virtual void EventProcessorEx(QString event, ConfigBase* config, qint64 eventTime, int eventKind,
                                  int eventSource, QVariant data, const QString& target) = 0;
    virtual void CommandProcessor(QString command, QVariant respData, void* pvContext, QString returnCode,
                                  QString reserved, bool completed, const QString& origin) = 0;
    virtual void CommandProcessorEx(QString command, ConfigBase* config, QVariant respData, void* pvContext,
                                    QString returnCode, QString reserved, bool completed,
                                    const QString& origin) = 0;
    virtual bool Init(QQmlContext* context) = 0;
    // Two hooks the host calls around its own start-up; most plug-ins leave them empty.
    virtual void PluginPrepare() {}
    virtual void PluginReady() {}
    virtual void PluginServerConnected() = 0;
    virtual void PluginServerDisconnected() = 0;

    QString pluginName() const { return m_pluginName; }
    QString pluginId() const { return m_pluginId; }
    void* hostHandle() const { return m_hostHandle; }
    FrameworkWrapperBase* framework() const { return m_framework; }

protected:
    qint32 m_reserved = 0;
    QString m_pluginName;
    QString m_pluginId;
    void* m_hostHandle = nullptr;
    FrameworkWrapperBase* m_framework = nullptr;
};

Q_DECLARE_INTERFACE(PluginBase, PluginBase_iid)
