"""python3 render.py DRY HALL WET: a file through a hall, as python3-soundfile and
libulmar-audio read them."""
import sys

import soundfile
import ulmar

dry, rate = soundfile.read(sys.argv[1])
hall = ulmar.read_response(sys.argv[2], rate)
soundfile.write(sys.argv[3], ulmar.render(dry, hall, dry=1.0, wet=0.3), rate, subtype="FLOAT")
