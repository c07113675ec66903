#pragma once

#include <QList>
#include <QMap>
#include <QString>
#include <QVariant>
#include <QVariantMap>

#include <vector>

class QStandardItem;

// How the fields of one kind of device node are read from one kind of server
// record: each row names the record key, the role the value is kept under, how
// the value is read, and what a missing key gives. Node creation, node updates
// and the camera information record all walk these tables, so a key maps to a
// role in one place. The tables are built once, on first use.
class DeviceFieldTable
{
public:
    enum class Conversion {
        AsSent,
        Text,
        // Text without one leading "s_", "c_" or "d_".
        DisplayName,
        Flag,
        Number,
        // Counts are kept unsigned, as views compare them with unsigned values.
        Count,
        // Passwords travel as hex text.
        HexText,
        TextList,
        // A camera's model word or number, kept as the camera type number.
        CameraType,
        // Only the exact text "Station" makes a station.
        NodeType,
        // Whether the text is not empty.
        HasText,
    };

    // Rows used only when a node is made are not written again when a record
    // announces a node the tree holds already (its identifier, its start values).
    enum class Use { CreateOnly, CreateAndUpdate };

    // A field without a key always gives its ifMissing value.
    struct Field
    {
        QString key;
        int role;
        Conversion conversion;
        Use use = Use::CreateAndUpdate;
        // What a missing key gives; when invalid, the conversion's empty value.
        QVariant ifMissing = QVariant();
        // The key is read inside this nested map of the record, when given.
        QString inMap = QString();
    };

    // A value a node of this kind starts with, whatever the record holds.
    struct StartValue
    {
        int role;
        QVariant value;
    };

    DeviceFieldTable(std::vector<StartValue> startValues, std::vector<Field> fields);

    // Every role, start values first, so that a field read from the record
    // replaces a start value of the same role.
    void fill(QStandardItem& item, const QVariantMap& record) const;
    // The fields the record carries that may change a node already made.
    QMap<int, QVariant> carriedValues(const QVariantMap& record) const;
    QList<int> carriedRoles(const QVariantMap& record) const;
    // Every field that may change a node already made, missing keys as their empty value.
    QMap<int, QVariant> updateValues(const QVariantMap& record) const;
    // The fields under their published role names, as records for other plug-ins carry them.
    void insertByRoleName(QVariantMap& target, const QVariantMap& record) const;

    static QVariant read(const QVariantMap& record, const Field& field);
    static QVariant converted(const QVariant& value, Conversion conversion);

    // One table per node kind and record.
    static const DeviceFieldTable& stationFromNodeList();
    static const DeviceFieldTable& announcedStation();
    static const DeviceFieldTable& cameraFromNodeList();
    static const DeviceFieldTable& announcedCamera();
    static const DeviceFieldTable& removedCamera();
    static const DeviceFieldTable& removedCameraFolder();
    static const DeviceFieldTable& externalDevice();
    static const DeviceFieldTable& cameraInformation();
    static const DeviceFieldTable& stationInformation();
    static const DeviceFieldTable& stationRecord();
    static const DeviceFieldTable& serverInformation();
    static const DeviceFieldTable& stationSettings();

private:
    bool carries(const QVariantMap& record, const Field& field) const;

    std::vector<StartValue> m_startValues;
    std::vector<Field> m_fields;
    // The published name of each field's role, in field order.
    std::vector<QString> m_roleNames;
};
