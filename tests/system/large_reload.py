"""A reload of a large database: how long reception stands still is printed, and that nobody goes without an answer is tested."""

from harness.case import main, wait_for
from harness.load import edition
from harness.loaded_service import ACK, LoadedService

CLIENTS, ASKING = 100_000, 5000
BEGIN_SECONDS = 30


class LargeReload(LoadedService):
    def test_nobody_goes_without_an_answer(self):
        self.start(edition(0, CLIENTS), CacheSize=2 * CLIENTS, EnableLogging=0)
        load = self.load(ASKING, editions=2)
        wait_for(lambda: load.replies[0] > ASKING, BEGIN_SECONDS, "the clients are being answered")
        usual = load.longest_gap
        self.assertEqual(self.reload(edition(1, CLIENTS)), ACK)
        wait_for(lambda: load.latest == 1, BEGIN_SECONDS, "the new database serves")
        self.assertEqual(load.finish(), [])
        print(f"a reload of {CLIENTS} clients: longest gap between two replies {load.longest_gap:.3f} s ({usual:.3f} s before it)")


if __name__ == "__main__":
    main()
