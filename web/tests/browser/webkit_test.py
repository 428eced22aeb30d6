#!/usr/bin/python3
"""The page in WebKitGTK, whose layout, scrolling and keyboard are the nearest to Safari's. Run it under Xvfb: ../run webkit"""

import os
import subprocess
import sys
import time
import unittest

from selenium import webdriver
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys

HERE = os.path.dirname(os.path.abspath(__file__))

VISIBLE_IDS = """
  const frame = document.querySelector('.scroller').getBoundingClientRect();
  return [...document.querySelectorAll('.tile')]
    .map((tile) => ({ tile, box: tile.getBoundingClientRect() }))
    .filter(({ box }) => box.height > 0 && box.bottom > frame.top + 1 && box.top < frame.bottom - 1)
    .sort((a, b) => a.box.top - b.box.top || a.box.left - b.box.left)
    .map(({ tile }) => Number(/photo\\/(\\d+)/.exec(tile.href)?.[1]));
"""

PICTURES_ARE_THERE = """
  const frame = document.querySelector('.scroller')?.getBoundingClientRect();
  if (!frame) return false;
  const tiles = [...document.querySelectorAll('.tile')].filter((tile) => {
    const box = tile.getBoundingClientRect();
    return box.height > 0 && box.bottom > frame.top && box.top < frame.bottom;
  });
  return tiles.length > 0 && tiles.every((tile) => tile.href && tile.querySelector('img').naturalWidth > 1);
"""


class PageInWebKit(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        server = os.path.join(HERE, '../mock/server.mjs')
        cls.server = subprocess.Popen(['node', server, '0', '--open'], stdout=subprocess.PIPE, text=True)
        cls.address = cls.server.stdout.readline().strip().rstrip('/')
        options = webdriver.WebKitGTKOptions()
        options.binary_location = cls.mini_browser()
        options.add_argument('--automation')
        cls.driver = webdriver.WebKitGTK(options=options, executable_path='/usr/bin/WebKitWebDriver')
        cls.driver.set_window_size(500, 900)

    @classmethod
    def tearDownClass(cls):
        cls.driver.quit()
        cls.server.terminate()
        cls.server.wait()
        cls.server.stdout.close()

    @staticmethod
    def mini_browser():
        folder = '/usr/lib/x86_64-linux-gnu'
        for version in ('webkit2gtk-4.1', 'webkit2gtk-4.0'):
            path = os.path.join(folder, version, 'MiniBrowser')
            if os.path.exists(path):
                return path
        raise unittest.SkipTest('MiniBrowser of WebKitGTK is not installed')

    def until(self, script, *arguments):
        end = time.monotonic() + 20
        while not self.driver.execute_script(script, *arguments):
            if time.monotonic() > end:
                self.fail('never came: ' + script)
            time.sleep(0.03)

    def open(self, path):
        self.driver.get(self.address + path)

    def ids(self):
        self.until(PICTURES_ARE_THERE)
        return self.driver.execute_script(VISIBLE_IDS)

    def press(self, *keys):
        self.driver.switch_to.active_element.send_keys(*keys)

    def focus_grid(self):
        self.driver.execute_script('document.querySelector(\'.tile[tabindex="0"]\').focus()')

    def test_reaches_the_first_and_the_last_of_a_million_photos_with_the_keyboard(self):
        self.open('/l/large/photos')
        self.assertEqual(self.ids()[-1], 1000000)
        self.focus_grid()
        self.press(Keys.HOME)
        self.until("return /photo\\/1$/.test(document.activeElement.href ?? '')")
        self.assertEqual(self.ids()[0], 1)
        self.press(Keys.END)
        self.until("return /photo\\/1000000$/.test(document.activeElement.href ?? '')")
        self.assertEqual(self.ids()[-1], 1000000)

    def test_moves_its_window_at_rest_and_keeps_the_photos_in_place(self):
        self.open('/l/large/photos')
        self.ids()
        self.focus_grid()
        self.press(Keys.HOME)
        self.ids()
        self.driver.execute_script("const s = document.querySelector('.scroller'); s.scrollTop = s.scrollHeight")
        before = self.ids()
        self.until("return document.querySelector('.scroller').scrollTop < 1500000")
        self.assertEqual(self.ids(), before)

    def test_opens_a_photo_and_comes_back_to_the_same_place(self):
        self.open('/l/medium/photos')
        self.ids()
        self.driver.execute_script("document.querySelector('.scroller').scrollTop -= 200000")
        before = self.ids()
        wanted = before[len(before) // 2]
        tile = self.driver.find_element(By.CSS_SELECTOR, f'.tile[href$="/photo/{wanted}"]')
        self.driver.execute_script('arguments[0].focus()', tile)
        self.press(Keys.ENTER)
        self.until("return !!document.querySelector('.viewer.ready')")
        self.until(f"return location.pathname.endsWith('/photo/{wanted}')")
        self.press(Keys.ARROW_RIGHT)
        self.until(f"return location.pathname.endsWith('/photo/{wanted + 1}')")
        self.press(Keys.ARROW_LEFT)
        self.until(f"return location.pathname.endsWith('/photo/{wanted}')")
        self.press(Keys.ESCAPE)
        self.until("return !document.querySelector('.pswp')")
        self.assertEqual(self.ids(), before)

    def test_finds_as_one_types(self):
        self.open('/l/medium/search')
        self.until("return document.activeElement.type === 'search'")
        self.press('be')
        self.until("return location.pathname === '/l/medium/search/be'")
        self.assertTrue(self.ids())

    def test_fits_the_window_without_scrolling_the_page(self):
        for path in ('/l/medium/photos', '/l/medium/albums', '/l/small/people', '/l/medium/search/be'):
            self.open(path)
            self.until("return !!document.querySelector('.tile[href], .card')")
            wide, high = self.driver.execute_script(
                'const d = document.documentElement;'
                'return [d.scrollWidth - d.clientWidth, d.scrollHeight - d.clientHeight]')
            self.assertEqual((wide, high), (0, 0), path)

    def test_every_technique_but_apples_formats_works(self):
        self.open('/check')
        self.until("return document.body.dataset.done === '1'")
        failed = self.driver.execute_script(
            "return [...document.querySelectorAll('li.no')].map((line) => line.dataset.check)")
        # No fine pointer under Xvfb, and the codecs depend on the packages that are installed.
        self.assertEqual(set(failed) - {'gesture', 'h264', 'hevc', 'heic'}, set())


if __name__ == '__main__':
    unittest.main(verbosity=2, argv=[sys.argv[0]])
