"""The page of the codebook in a browser: search, sort, paper, and files whose texts are markup."""

import os
import subprocess

import pytest
from selenium import webdriver
from selenium.webdriver.common.by import By

HOSTILE = "<script>document.title='run'</script><img src=x onerror=\"document.title='run'\">"


def codebook(folder, *names):
    page = folder / "page.html"
    subprocess.run([os.environ["VORDTA"], "codebook", *names, str(page)], cwd=folder, check=True, capture_output=True)
    return page.as_uri()


@pytest.fixture(scope="module")
def browser():
    options = webdriver.ChromeOptions()
    for argument in ("--headless=new", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage"):
        options.add_argument(argument)
    driver = webdriver.Chrome(options=options)
    yield driver
    driver.quit()


@pytest.fixture
def folder(tmp_path):
    (tmp_path / "a.csv").write_text("income,sex,town\n10,1,Oslo\n9,2,Rome\n100,2,Rome\n")
    (tmp_path / "b.csv").write_text("income,sex,age\n10,one,4\n9,two,5\n")
    return tmp_path


def shown_cards(browser):
    return [card.get_attribute("id") for card in browser.find_elements(By.CSS_SELECTOR, ".card") if card.is_displayed()]


def test_search_and_sort(browser, folder):
    browser.get(codebook(folder, "a.csv"))
    assert shown_cards(browser) == ["v0-0", "v0-1", "v0-2"]
    browser.find_element(By.ID, "search").send_keys("TOW")
    assert shown_cards(browser) == ["v0-2"]
    assert browser.find_element(By.ID, "found").text == "1 of 3 variables"
    browser.find_element(By.ID, "search").clear()
    browser.find_element(By.ID, "search").send_keys(" ")
    column = browser.find_element(By.XPATH, "//th[.='Maximum']")

    def names():
        return [cell.text for cell in browser.find_elements(By.CSS_SELECTOR, "section tbody td:first-child a")]

    column.find_element(By.TAG_NAME, "button").click()
    assert column.get_attribute("aria-sort") == "ascending" and names() == ["town", "sex", "income"]
    column.find_element(By.TAG_NAME, "button").click()
    assert column.get_attribute("aria-sort") == "descending" and names() == ["income", "sex", "town"]


def test_several_files_say_what_changed_first(browser, folder):
    browser.get(codebook(folder, "a.csv", "b.csv"))
    rows = [row.text for row in browser.find_elements(By.CSS_SELECTOR, "#changes tbody tr")]
    assert any(row.startswith("town variable") for row in rows) and any(row.startswith("sex type") for row in rows)


def test_texts_of_a_file_are_never_markup(browser, tmp_path):
    quoted = '"' + HOSTILE.replace('"', '""') + '"'
    (tmp_path / "x.csv").write_text(f"{quoted},b\n{quoted},{quoted}\n")
    browser.get(codebook(tmp_path, "x.csv"))
    assert browser.title == "Codebook of x.csv"
    assert not browser.find_elements(By.CSS_SELECTOR, "img, main script, nav script")
    assert HOSTILE in browser.find_element(By.TAG_NAME, "main").text
    assert not [line for line in browser.get_log("browser") if line["level"] == "SEVERE"]


def test_paper_and_dark(browser, folder):
    browser.get(codebook(folder, "a.csv"))
    browser.execute_cdp_cmd("Emulation.setEmulatedMedia", {"media": "print"})
    assert not browser.find_element(By.ID, "search").is_displayed()
    assert len(shown_cards(browser)) == 3
    dark = {"media": "", "features": [{"name": "prefers-color-scheme", "value": "dark"}]}
    browser.execute_cdp_cmd("Emulation.setEmulatedMedia", dark)
    colour = "return getComputedStyle(document.body).colorScheme + getComputedStyle(document.querySelector('a')).color"
    assert browser.execute_script(colour).endswith("rgb(153, 193, 241)")
