-- The schedule: which scene shows from which millisecond of the music (inclusive) to which
-- (exclusive). Overlapping entries are drawn in the order they are added, later ones on top.

addSceneToTimeline("intro", 0, 44000)
addSceneToTimeline("riderideranke", 44000, 60000)
addSceneToTimeline("guillotine", 60000, 74000)
addSceneToTimeline("solardistrict", 74000, 122000)
addSceneToTimeline("greets", 100000, 122000)
addSceneToTimeline("credits", 122000, 150000)
