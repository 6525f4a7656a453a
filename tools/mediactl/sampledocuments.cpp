#include "sampledocuments.h"

#include "platformlog.h"
#include "samplemedia.h"
#include "ziparchive.h"

#include <QRandomGenerator>
#include <QStringList>

namespace SampleDocuments {

namespace {

QByteArray lines(const QStringList &rows)
{
    return (rows.join(QLatin1Char('\n')) + QLatin1Char('\n')).toUtf8();
}

QString money(int cents)
{
    return QString::number(cents / 100.0, 'f', 2);
}

QByteArray quarterlyReport(QRandomGenerator &random)
{
    const int revenue = 1200 + random.bounded(400);
    const int growth = 2 + random.bounded(7);
    const QStringList regions = {QStringLiteral("North"), QStringLiteral("South"),
                                 QStringLiteral("East"), QStringLiteral("West")};
    QStringList byRegion;
    for (const QString &region : regions) {
        byRegion.append(QStringLiteral("%1: %2 thousand, %3 orders")
                                .arg(region)
                                .arg(200 + random.bounded(300))
                                .arg(40 + random.bounded(80)));
    }
    QStringList byWeek;
    for (int week = 1; week <= 13; ++week) {
        byWeek.append(QStringLiteral("Week %1: %2 thousand, %3 new customers")
                              .arg(week)
                              .arg(80 + random.bounded(40))
                              .arg(random.bounded(12)));
    }
    return SampleMedia::pdf(
            QStringLiteral("Quarterly report"),
            {{QStringLiteral("Summary"),
              {QStringLiteral("Revenue for the quarter reached %1 thousand, %2 percent above the "
                              "previous quarter. The new subscription plan accounts for most of "
                              "the growth, while one-off sales stayed level.")
                       .arg(revenue)
                       .arg(growth),
               QStringLiteral(
                       "Costs rose less than revenue: the move to the new office is paid "
                       "for, and travel stayed below budget for the third quarter running.")}},
             {QStringLiteral("Revenue by region"), byRegion},
             {QStringLiteral("Revenue by week"), byWeek},
             {QStringLiteral("Customers"),
              {QStringLiteral("Support answered nine requests in ten within a working day. The "
                              "most frequent question was about exporting invoices, which the "
                              "next release makes a single click."),
               QStringLiteral("Two large customers renewed for three years; one small customer "
                              "left after its own business closed.")}},
             {QStringLiteral("Outlook"),
              {QStringLiteral("We expect the coming quarter to grow at a similar pace. Hiring two "
                              "more engineers is planned for the second month, and the price "
                              "list stays as it is until the end of the year."),
               QStringLiteral("Risks: the exchange rate, and the delivery time of the new "
                              "hardware, which the supplier has not confirmed yet.")}}});
}

QByteArray contractDraft(QRandomGenerator &random)
{
    const int fee = 2000 + random.bounded(30) * 100;
    QList<SampleMedia::Section> clauses;
    const QStringList headings = {
            QStringLiteral("1. Parties"),         QStringLiteral("2. Scope of the work"),
            QStringLiteral("3. Schedule"),        QStringLiteral("4. Fees and payment"),
            QStringLiteral("5. Confidentiality"), QStringLiteral("6. Termination"),
            QStringLiteral("7. Governing terms")};
    const QStringList texts = {
            QStringLiteral("This agreement is made between Phoenix Studio (the client) and Dana "
                           "Novak (the contractor)."),
            QStringLiteral("The contractor designs and builds the new booking pages of the "
                           "client's web site, including the confirmation e-mails and the "
                           "printed tickets."),
            QStringLiteral("Work starts on the first Monday after signature and ends eight weeks "
                           "later. Drafts are shown every second Friday."),
            QStringLiteral("The client pays a fee of %1 per month, within thirty days of each "
                           "invoice. Travel is paid only when agreed in writing beforehand.")
                    .arg(fee),
            QStringLiteral("Both parties keep the other's business information to themselves, "
                           "during the work and for two years after it."),
            QStringLiteral("Either party may end this agreement with four weeks' notice in "
                           "writing. Work done until then is paid in full."),
            QStringLiteral("Changes to this agreement are valid only when both parties sign "
                           "them. This is a draft for discussion and binds no one yet.")};
    for (int i = 0; i < headings.size(); ++i) {
        clauses.append({headings[i], {texts[i]}});
    }
    return SampleMedia::pdf(QStringLiteral("Contract draft"), clauses);
}

QByteArray meetingNotes(QRandomGenerator &random)
{
    return lines({QStringLiteral("Meeting notes - Project Phoenix"),
                  QStringLiteral("Date: 2026-03-%1, 10:00-11:00").arg(10 + random.bounded(18)),
                  QStringLiteral("Present: Alice, Bruno, Chen, Dana"), QString(),
                  QStringLiteral("1. Release plan"),
                  QStringLiteral("   The beta goes out to the first customers in two weeks."),
                  QStringLiteral("   Bruno checks the migration on a copy of the live data first."),
                  QString(), QStringLiteral("2. Open bugs"),
                  QStringLiteral("   %1 open, of which %2 block the release.")
                          .arg(12 + random.bounded(20))
                          .arg(1 + random.bounded(4)),
                  QStringLiteral("   Chen takes the crash on start-up; Dana the slow search."),
                  QString(), QStringLiteral("3. Next meeting"),
                  QStringLiteral("   Same time next week, in the small room."), QString(),
                  QStringLiteral("Actions:"), QStringLiteral("- Alice: send the beta invitations"),
                  QStringLiteral("- Bruno: migration dry run"),
                  QStringLiteral("- Chen, Dana: the two release blockers")});
}

QByteArray readingList(QRandomGenerator &random)
{
    const QStringList books = {QStringLiteral("The Lighthouse Keeper's Year - M. Okafor"),
                               QStringLiteral("Salt and Timber - J. Lindqvist"),
                               QStringLiteral("A Short History of Maps - R. Alvarez"),
                               QStringLiteral("The Quiet Orchard - H. Brenner"),
                               QStringLiteral("Notes from the Night Train - S. Ivanova"),
                               QStringLiteral("Small Gardens, Big Harvests - P. Duval"),
                               QStringLiteral("The Clockmaker's Daughter - E. Marsh"),
                               QStringLiteral("Walking the Coast - T. Fraser")};
    QStringList rows = {QStringLiteral("Book club reading list"), QString()};
    for (int i = 0; i < books.size(); ++i) {
        rows.append(QStringLiteral("%1. %2 (%3 pages)")
                            .arg(i + 1)
                            .arg(books[i])
                            .arg(180 + random.bounded(320)));
    }
    rows.append(QString());
    rows.append(QStringLiteral("We meet on the last Thursday of the month."));
    return lines(rows);
}

QByteArray budget(QRandomGenerator &random)
{
    const QStringList months = {QStringLiteral("2026-01"), QStringLiteral("2026-02"),
                                QStringLiteral("2026-03"), QStringLiteral("2026-04"),
                                QStringLiteral("2026-05"), QStringLiteral("2026-06")};
    const QStringList categories = {QStringLiteral("rent"), QStringLiteral("groceries"),
                                    QStringLiteral("transport"), QStringLiteral("utilities"),
                                    QStringLiteral("leisure")};
    const int planned[] = {95000, 42000, 12000, 18000, 15000};
    QStringList rows = {QStringLiteral("month,category,planned,spent")};
    for (const QString &month : months) {
        for (int c = 0; c < categories.size(); ++c) {
            const int spent = planned[c] * (85 + random.bounded(30)) / 100;
            rows.append(QStringLiteral("%1,%2,%3,%4")
                                .arg(month, categories[c], money(planned[c]), money(spent)));
        }
    }
    return lines(rows);
}

QByteArray travelPlan(QRandomGenerator &random)
{
    const QStringList cities = {QStringLiteral("Lisbon"), QStringLiteral("Porto"),
                                QStringLiteral("Coimbra"), QStringLiteral("Evora"),
                                QStringLiteral("Faro")};
    QStringList rows = {QStringLiteral("day,date,city,lodging,notes")};
    for (int day = 0; day < 10; ++day) {
        const QString city = cities[qMin(day / 2, int(cities.size()) - 1)];
        rows.append(QStringLiteral("%1,2026-07-%2,%3,\"Hotel %3 Centro, room %4\",%5")
                            .arg(day + 1)
                            .arg(day + 4, 2, 10, QLatin1Char('0'))
                            .arg(city)
                            .arg(100 + random.bounded(300))
                            .arg(day % 2 == 0 ? QStringLiteral("train in the morning")
                                              : QStringLiteral("free day")));
    }
    return lines(rows);
}

QByteArray recipeCollection(quint32 seed)
{
    const auto recipe = [](const QString &name, const QStringList &steps) {
        return ZipArchive::Entry {QStringLiteral("recipes/") + name + QStringLiteral(".txt"),
                                  lines(QStringList {name, QString()} + steps)};
    };
    return ZipArchive::write(
            {recipe(QStringLiteral("Pancakes"),
                    {QStringLiteral("250 g flour, 2 eggs, 500 ml milk, a pinch of salt."),
                     QStringLiteral("Whisk, rest for half an hour, fry thin in butter.")}),
             recipe(QStringLiteral("Tomato soup"),
                    {QStringLiteral("1 kg tomatoes, 1 onion, 2 cloves of garlic, basil."),
                     QStringLiteral("Soften the onion, add the rest, simmer 20 minutes, blend.")}),
             recipe(QStringLiteral("Lemon cake"),
                    {QStringLiteral("200 g butter, 200 g sugar, 4 eggs, 200 g flour, 2 lemons."),
                     QStringLiteral("Cream, fold in, bake 45 minutes at 175 degrees.")}),
             {QStringLiteral("shopping list.csv"),
              lines({QStringLiteral("item,quantity"), QStringLiteral("flour,1 kg"),
                     QStringLiteral("eggs,10"), QStringLiteral("lemons,4")})},
             {QStringLiteral("photos/lemon cake.jpg"),
              SampleMedia::picture(320, 240, QColor(250, 220, 90), QColor(200, 120, 40), seed)}});
}

QByteArray floorPlan(quint32 seed)
{
    return ZipArchive::write(
            {{QStringLiteral("floor plan.jpg"),
              SampleMedia::picture(640, 480, QColor(235, 235, 225), QColor(120, 140, 170), seed)},
             {QStringLiteral("rooms.csv"),
              lines({QStringLiteral("room,width_m,length_m"), QStringLiteral("living room,5.2,4.1"),
                     QStringLiteral("kitchen,3.4,2.9"), QStringLiteral("bedroom,4.0,3.6"),
                     QStringLiteral("bathroom,2.4,2.1")})},
             {QStringLiteral("notes.txt"),
              lines({QStringLiteral("Measured on site; walls not included."),
                     QStringLiteral("The kitchen window faces south.")})}});
}

} // namespace

QList<Document> make(quint32 seed)
{
    QRandomGenerator random(seed);
    const QList<Document> documents = {
            {QStringLiteral("quarterly report"), QStringLiteral("pdf"), quarterlyReport(random)},
            {QStringLiteral("meeting notes"), QStringLiteral("txt"), meetingNotes(random)},
            {QStringLiteral("budget"), QStringLiteral("csv"), budget(random)},
            {QStringLiteral("recipe collection"), QStringLiteral("zip"), recipeCollection(seed)},
            {QStringLiteral("contract draft"), QStringLiteral("pdf"), contractDraft(random)},
            {QStringLiteral("reading list"), QStringLiteral("txt"), readingList(random)},
            {QStringLiteral("travel plan"), QStringLiteral("csv"), travelPlan(random)},
            {QStringLiteral("floor plan"), QStringLiteral("zip"), floorPlan(seed)}};
    for (const Document &document : documents) {
        if (document.bytes.isEmpty()) {
            qCWarning(lcPlatform) << "cannot make the sample document" << document.title;
            return {};
        }
    }
    return documents;
}

} // namespace SampleDocuments
